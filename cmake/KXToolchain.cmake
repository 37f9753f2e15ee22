# The language, the compilers' floors, the warnings and the sanitizers: what every target is built with.

if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 12)
  message(FATAL_ERROR "KXCoreLib needs g++ 12 or later; this is g++ ${CMAKE_CXX_COMPILER_VERSION}.")
elseif(CMAKE_CXX_COMPILER_ID MATCHES "Clang" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 14)
  message(FATAL_ERROR "KXCoreLib needs clang 14 or later; this is clang ${CMAKE_CXX_COMPILER_VERSION}.")
endif()

set(CMAKE_C_STANDARD 11)
set(CMAKE_C_STANDARD_REQUIRED ON)
set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_C_VISIBILITY_PRESET hidden)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

if(NOT CMAKE_BUILD_TYPE AND NOT CMAKE_CONFIGURATION_TYPES)
  set(CMAKE_BUILD_TYPE RelWithDebInfo CACHE STRING "Build type" FORCE)
endif()

find_program(KX_CCACHE ccache)
if(KX_CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
  set(kx_launcher ${CMAKE_COMMAND} -E env
      "CCACHE_BASEDIR=${PROJECT_SOURCE_DIR}"
      CCACHE_NOHASHDIR=1
      "CCACHE_SLOPPINESS=pch_defines,time_macros,include_file_mtime,include_file_ctime"
      ${KX_CCACHE})
  set(CMAKE_C_COMPILER_LAUNCHER ${kx_launcher})
  set(CMAKE_CXX_COMPILER_LAUNCHER ${kx_launcher})
endif()

# What our own sources are held to. Not part of any exported target: a consumer keeps its own rules.
add_library(KXWarnings INTERFACE)
if(KX_DEVELOPER)
  target_compile_options(KXWarnings INTERFACE
    -Werror -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wundef
    $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor;-Woverloaded-virtual;-Wold-style-cast>)
endif()

if(KX_SANITIZERS)
  add_compile_options(-fsanitize=${KX_SANITIZERS} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${KX_SANITIZERS})
endif()
