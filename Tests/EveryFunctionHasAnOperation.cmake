# Looks for functions of the platform's headers that no wrapper offers: each is checked, signature against signature, in
# CoreFoundationWrappersSignatures.cpp, or excepted with its reason in CoreFoundationWrappers.h.
#
#   cmake -DSOURCE=<the project> -P EveryFunctionHasAnOperation.cmake

file(READ ${SOURCE}/Tests/KXCoreLib/CoreFoundationWrappersSignatures.cpp checked)
file(READ ${SOURCE}/KXCoreLib/include/KXCoreLib/CoreFoundationWrappers.h excepted)

set(count 0)
file(GLOB headers ${SOURCE}/Platform/CoreFoundation/include/CoreFoundation/*.h)
foreach(header IN LISTS headers)
  file(READ ${header} text)
  string(REPLACE ";" "@" text "${text}") # these have a meaning in lists
  string(REGEX REPLACE "[[]|]" " " text "${text}")
  string(REGEX MATCHALL "\nCF_(EXPORT|INLINE) [^@]*" declarations "${text}")
  foreach(declaration IN LISTS declarations)
    if(NOT declaration MATCHES "[^A-Za-z0-9_](CF[A-Za-z0-9]+)\\(")
      continue() # a constant
    endif()
    set(function ${CMAKE_MATCH_1})
    math(EXPR count "${count} + 1")
    if(NOT "${checked}${excepted}" MATCHES "[^A-Za-z0-9]${function}[^A-Za-z0-9]")
      message(SEND_ERROR "${header}: no wrapper offers ${function}, and nothing says why")
    endif()
  endforeach()
endforeach()
if(count LESS 300)
  message(SEND_ERROR "only ${count} functions found: are they declared in another way?")
endif()
message(STATUS "${count} functions")
