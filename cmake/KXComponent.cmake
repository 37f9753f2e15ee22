# kx_component(<library> <name>
#              [SOURCES <file>...]              default: <name>.cpp; "NONE" for a component that is only headers
#              [HEADERS <file>...]              exported headers, below the include folder of this folder or of one above
#              [TESTED_BY <component>]          the component whose test covers this one; without it a test is owed
#              [LABELS <label>...]              labels of its test; "threads" also puts it into the ThreadSanitizer run
#              [TEST_SOURCES <file>...]         more sources of its test
#              [TEST_LIBRARIES <target>...]     what its test links beside the library and GoogleTest
#              [BENCHMARK_LIBRARIES <target>...] peers that its benchmark links
#              [FUZZ_SOURCES <file>...])        more sources of its fuzz target
#
# Declares one component of a library: adds its sources, and finds what belongs to it by its name:
#
#     Tests/<library folder>/<name>Test.cpp    its test
#     Benchmarks/<name>Benchmark.cpp           its benchmark
#     Fuzz/<name>Fuzz.cpp                      its fuzz target, with the corpus Fuzz/corpus/<name>/
#
# Call it in the folder of the sources; the library's target must exist.
function(kx_component library name)
  cmake_parse_arguments(PARSE_ARGV 2 arg "" "TESTED_BY"
    "SOURCES;HEADERS;LABELS;TEST_SOURCES;TEST_LIBRARIES;BENCHMARK_LIBRARIES;FUZZ_SOURCES")
  if(arg_UNPARSED_ARGUMENTS)
    message(FATAL_ERROR "kx_component(${library} ${name}): unknown arguments: ${arg_UNPARSED_ARGUMENTS}")
  endif()

  if(NOT arg_SOURCES)
    set(arg_SOURCES ${name}.cpp)
  endif()
  if(NOT arg_SOURCES STREQUAL "NONE")
    list(TRANSFORM arg_SOURCES PREPEND "${CMAKE_CURRENT_SOURCE_DIR}/")
    target_sources(${library} PRIVATE ${arg_SOURCES})
  endif()
  set(headers "")
  foreach(header IN LISTS arg_HEADERS)
    set(above "${CMAKE_CURRENT_SOURCE_DIR}")
    while(NOT EXISTS "${above}/include/${header}")
      if(above STREQUAL PROJECT_SOURCE_DIR)
        message(FATAL_ERROR "kx_component(${library} ${name}): no header include/${header}")
      endif()
      cmake_path(GET above PARENT_PATH above)
    endwhile()
    set_property(GLOBAL APPEND PROPERTY KX_EXPORTED_HEADERS "${above}/include/${header}")
    list(APPEND headers "${above}/include/${header}")
  endforeach()

  file(RELATIVE_PATH folder "${PROJECT_SOURCE_DIR}" "${CMAKE_CURRENT_SOURCE_DIR}")
  # For scripts/mutants.
  set_property(GLOBAL APPEND_STRING PROPERTY KX_COMPONENTS
    "${library}|${name}|${folder}|${arg_SOURCES}|${headers}|${arg_TESTED_BY}\n")

  set(test "${PROJECT_SOURCE_DIR}/Tests/${folder}/${name}Test.cpp")
  if(NOT EXISTS "${test}" AND NOT arg_TESTED_BY)
    message(FATAL_ERROR "kx_component(${library} ${name}): neither ${test} nor TESTED_BY")
  endif()
  if(KX_BUILD_TESTS AND EXISTS "${test}" AND (NOT KX_TESTS_OF_THREADS_ONLY OR "threads" IN_LIST arg_LABELS))
    list(TRANSFORM arg_TEST_SOURCES PREPEND "${PROJECT_SOURCE_DIR}/Tests/${folder}/")
    kx_test(${name}Test SOURCES ${test} ${arg_TEST_SOURCES} LIBRARIES ${library} ${arg_TEST_LIBRARIES}
            LABELS ${arg_LABELS})
    target_include_directories(${name}Test PRIVATE
      "${CMAKE_CURRENT_SOURCE_DIR}" $<TARGET_PROPERTY:${library},INCLUDE_DIRECTORIES>)
  endif()

  set(benchmark "${PROJECT_SOURCE_DIR}/Benchmarks/${name}Benchmark.cpp")
  if(KX_BUILD_BENCHMARKS AND EXISTS "${benchmark}")
    add_executable(${name}Benchmark "${benchmark}")
    target_include_directories(${name}Benchmark PRIVATE
      "${CMAKE_CURRENT_SOURCE_DIR}" $<TARGET_PROPERTY:${library},INCLUDE_DIRECTORIES>)
    target_link_libraries(${name}Benchmark PRIVATE ${library} ${arg_BENCHMARK_LIBRARIES} benchmark::benchmark_main)
    set_target_properties(${name}Benchmark PROPERTIES RUNTIME_OUTPUT_DIRECTORY "${PROJECT_BINARY_DIR}/bench")
  endif()

  set(fuzzer "${PROJECT_SOURCE_DIR}/Fuzz/${name}Fuzz.cpp")
  if(KX_BUILD_FUZZERS AND EXISTS "${fuzzer}")
    list(TRANSFORM arg_FUZZ_SOURCES PREPEND "${PROJECT_SOURCE_DIR}/")
    kx_fuzzer(${name} SOURCES ${fuzzer} ${arg_FUZZ_SOURCES} LIBRARIES ${library} ${arg_TEST_LIBRARIES})
    target_include_directories(${name}Fuzz PRIVATE $<TARGET_PROPERTY:${library},INCLUDE_DIRECTORIES>)
  endif()
endfunction()

# kx_check_exported_headers(FOLDERS <folder>... [GATHERING <header>...])
#
# Fails when a header below one of the folders, which are installed whole, belongs to no component. `GATHERING` names
# the ones that only gather others.
function(kx_check_exported_headers)
  cmake_parse_arguments(PARSE_ARGV 0 arg "" "" "FOLDERS;GATHERING")
  get_property(listed GLOBAL PROPERTY KX_EXPORTED_HEADERS)
  foreach(folder IN LISTS arg_FOLDERS)
    file(GLOB_RECURSE headers RELATIVE "${PROJECT_SOURCE_DIR}/${folder}" "${PROJECT_SOURCE_DIR}/${folder}/*.h")
    foreach(header IN LISTS headers)
      if(NOT "${PROJECT_SOURCE_DIR}/${folder}/${header}" IN_LIST listed AND NOT header IN_LIST arg_GATHERING)
        message(FATAL_ERROR "${folder}/${header} is installed and belongs to no component (HEADERS of kx_component)")
      endif()
    endforeach()
  endforeach()
endfunction()

# kx_test(<target> SOURCES <file>... [LIBRARIES <target>...] [LABELS <label>...])
#
# A GoogleTest program; KX_SOURCE_DIR and KX_BINARY_DIR are defined as texts in the sources that name them. Tests stand under CTest case by
# case, or as whole programs where starting each case costs too much (the sanitizers). Those of threads stand there once
# more, as stress.<prefix><target>: KX_STRESS_ROUNDS runs of the whole program, its tests in a new order each time.
function(kx_test target)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "SOURCES;LIBRARIES;LABELS")
  add_executable(${target} ${arg_SOURCES})
  target_link_libraries(${target} PRIVATE ${arg_LIBRARIES} KXWarnings GTest::gmock GTest::gtest_main Threads::Threads)
  target_include_directories(${target} PRIVATE "${PROJECT_SOURCE_DIR}/Tests")
  # Only where a test asks: a path on the command line keeps the compiler's cache from serving another checkout.
  foreach(source IN LISTS arg_SOURCES)
    cmake_path(ABSOLUTE_PATH source)
    file(STRINGS "${source}" uses REGEX "KX_(SOURCE|BINARY)_DIR" LIMIT_COUNT 1)
    if(uses)
      set_property(SOURCE "${source}" TARGET_DIRECTORY ${target} APPEND PROPERTY COMPILE_DEFINITIONS
        KX_SOURCE_DIR="${PROJECT_SOURCE_DIR}" KX_BINARY_DIR="${PROJECT_BINARY_DIR}")
    endif()
  endforeach()
  set_target_properties(${target} PROPERTIES RUNTIME_OUTPUT_DIRECTORY "${PROJECT_BINARY_DIR}/tests")
  if(NOT KX_SANITIZERS MATCHES "thread")
    # Optimising the many checks of the tests took half of the whole build; what is under test is optimised. Among
    # threads the tests are a part of what runs, and stay as fast as the rest.
    target_compile_options(${target} PRIVATE -O0)
  endif()
  if(CMAKE_CXX_FLAGS MATCHES "--coverage")
    target_sources(${target} PRIVATE "${PROJECT_SOURCE_DIR}/Tests/CoverageAtAnyEnd.c")
  endif()
  if(KX_TEST_PER_CASE)
    set(properties TIMEOUT 300)
    if(arg_LABELS)
      list(APPEND properties LABELS ${arg_LABELS})
    endif()
    gtest_discover_tests(${target} DISCOVERY_MODE PRE_TEST DISCOVERY_TIMEOUT 60 PROPERTIES ${properties})
  else()
    add_test(NAME ${KX_TEST_PREFIX}${target} COMMAND ${target})
    set_tests_properties(${KX_TEST_PREFIX}${target} PROPERTIES TIMEOUT 900 LABELS "${arg_LABELS}")
  endif()
  if(KX_STRESS_ROUNDS AND "threads" IN_LIST arg_LABELS)
    set(stress stress.${KX_TEST_PREFIX}${target})
    add_test(NAME ${stress} COMMAND ${CMAKE_COMMAND} -DPROGRAM=$<TARGET_FILE:${target}> -DROUNDS=${KX_STRESS_ROUNDS}
      -P ${PROJECT_SOURCE_DIR}/Tests/RunShuffled.cmake)
    set_tests_properties(${stress} PROPERTIES TIMEOUT 900 LABELS stress)
  endif()
endfunction()

# kx_fuzzer(<name> SOURCES <file>... [LIBRARIES <target>...])
#
# A libFuzzer program <name>Fuzz, run briefly by CTest over its kept corpus, and longer by scripts/fuzz.
function(kx_fuzzer name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "SOURCES;LIBRARIES")
  add_executable(${name}Fuzz ${arg_SOURCES})
  target_compile_options(${name}Fuzz PRIVATE -fsanitize=fuzzer)
  target_link_options(${name}Fuzz PRIVATE -fsanitize=fuzzer)
  target_link_libraries(${name}Fuzz PRIVATE ${arg_LIBRARIES} KXWarnings Threads::Threads)
  target_include_directories(${name}Fuzz PRIVATE "${PROJECT_SOURCE_DIR}/Tests" "${CMAKE_CURRENT_SOURCE_DIR}")
  set_target_properties(${name}Fuzz PROPERTIES RUNTIME_OUTPUT_DIRECTORY "${PROJECT_BINARY_DIR}/fuzz")
  set(corpus "${PROJECT_SOURCE_DIR}/Fuzz/corpus/${name}")
  set(found "${PROJECT_BINARY_DIR}/fuzz/found/${name}")
  file(MAKE_DIRECTORY "${found}")
  if(NOT EXISTS "${corpus}")
    set(corpus "")
  endif()
  add_test(NAME ${KX_TEST_PREFIX}${name}
    COMMAND ${name}Fuzz -max_total_time=5 -timeout=20 -rss_limit_mb=1024 "-artifact_prefix=${found}/" "${found}" ${corpus})
  set_tests_properties(${KX_TEST_PREFIX}${name} PROPERTIES TIMEOUT 120 LABELS fuzz)
endfunction()
