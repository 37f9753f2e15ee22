# Writes one line for each function that a library exports, to be included by the test that calls them all:
#
#     KX_FUNCTION(name)        where the headers declare it by the name of its symbol
#     KX_OTHER("symbol")       where they do not: C++ functions, and those that a header renames
#
#   cmake -DNM=<nm> -DLIBRARY=<file> -DOUTPUT=<file> -P ListExportedFunctions.cmake

execute_process(COMMAND ${NM} -D --defined-only ${LIBRARY} OUTPUT_VARIABLE symbols COMMAND_ERROR_IS_FATAL ANY)
string(REGEX MATCHALL "[0-9a-f]+ [Ti] [^\n]+" functions "${symbols}")
set(text "")
foreach(line IN LISTS functions)
  string(REGEX REPLACE "^[0-9a-f]+ [Ti] ([^@]*).*$" "\\1" name "${line}")
  if(name MATCHES "^_Z|^kx_")
    string(APPEND text "KX_OTHER(\"${name}\")\n")
  else()
    string(APPEND text "KX_FUNCTION(${name})\n")
  endif()
endforeach()
# Written when it changes: the test is compiled anew for new functions, not for each build of the library.
file(CONFIGURE OUTPUT ${OUTPUT} CONTENT "${text}" @ONLY)
