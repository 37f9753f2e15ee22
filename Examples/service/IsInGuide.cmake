# cmake -DGUIDE=<file> -DSOURCE=<file> -P IsInGuide.cmake: fails unless the guide shows the whole source.
file(READ "${GUIDE}" guide)
file(READ "${SOURCE}" source)
string(FIND "${guide}" "```cpp\n${source}```\n" place)
if(place EQUAL -1)
  message(FATAL_ERROR "${GUIDE} does not show ${SOURCE} as it is.")
endif()
