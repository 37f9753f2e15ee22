# Looks for functions of the platform's headers that no test calls with null arguments. Such tests stand with the tests
# of their type and have "NullArguments" in their names. Functions that take only numbers are left out: they cannot be
# handed null.
#
#   cmake -DSOURCE=<the project> -P EveryFunctionTakesNull.cmake

set(number "(const )?(unsigned )?(int|long|char|float|double|Boolean|U?SInt[0-9]+|UInt[0-9]+|UniChar|UTF32Char|OSType)")
string(APPEND number "|CF(Index|HashCode|TypeID|OptionFlags|Range|TimeInterval|AbsoluteTime|StringEncoding)")
string(APPEND number "|CFGregorianDate|CFGregorianUnits|CFSwappedFloat[0-9]+|u?int[0-9]+_t|mach_port_t|CFByteOrder")

# Brackets and semicolons mean something in lists.
function(read_plainly file result)
  file(READ ${file} text)
  string(REPLACE ";" "@" text "${text}")
  string(REGEX REPLACE "[[]|]" " " text "${text}")
  set(${result} "${text}" PARENT_SCOPE)
endfunction()

set(tested "")
file(GLOB_RECURSE tests ${SOURCE}/Tests/Platform/*Test.cpp)
foreach(test IN LISTS tests)
  read_plainly(${test} text)
  if(NOT text MATCHES "NullArguments")
    continue()
  endif()
  # A test ends where a line begins with its brace.
  string(REPLACE "\n}" "$" text "${text}")
  set(heading "\nTEST[_A-Z]*\\([A-Za-z]+, [A-Za-z]*NullArguments[A-Za-z]*\\) {")
  string(REGEX MATCHALL "${heading}(\n[^$]*| [^\n]*)" bodies "${text}")
  string(APPEND tested "${bodies}")
endforeach()

set(count 0)
file(GLOB_RECURSE headers
  ${SOURCE}/Platform/CoreFoundation/include/*.h
  ${SOURCE}/Platform/CoreServices/include/*.h
  ${SOURCE}/Platform/SystemConfiguration/include/*.h)
foreach(header IN LISTS headers)
  read_plainly(${header} text)
  string(REGEX REPLACE "//[^\n]*" "" text "${text}")
  string(REGEX MATCHALL "\nCF_(EXPORT|INLINE) [^@]*" declarations "${text}")
  foreach(declaration IN LISTS declarations)
    string(REGEX REPLACE "[ \n]+" " " declaration "${declaration}")
    if(NOT declaration MATCHES "[^A-Za-z0-9_]([A-Za-z0-9_]+)\\(([^)]*)\\)")
      continue() # a constant
    endif()
    set(function ${CMAKE_MATCH_1})
    string(REPLACE "," ";" parameters "${CMAKE_MATCH_2}")
    set(takes_null NO)
    foreach(parameter IN LISTS parameters)
      if(NOT parameter MATCHES "^ *(void|(${number}) [A-Za-z0-9]+) *$")
        set(takes_null YES)
      endif()
    endforeach()
    if(NOT takes_null)
      continue()
    endif()
    math(EXPR count "${count} + 1")
    if(NOT tested MATCHES "[^A-Za-z0-9_]${function}\\(")
      message(SEND_ERROR "${header}: no test named ...NullArguments... calls ${function}")
    endif()
  endforeach()
endforeach()
if(count LESS 250)
  message(SEND_ERROR "only ${count} functions found: are they declared in another way?")
endif()
message(STATUS "${count} functions")
