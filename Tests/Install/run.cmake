# Installs the build into a folder of its own, builds the consumer against that copy, and runs it.

function(run)
  execute_process(COMMAND ${ARGV} RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE output)
  if(NOT result EQUAL 0)
    message(FATAL_ERROR "failed (${result}): ${ARGV}\n${output}")
  endif()
endfunction()

file(REMOVE_RECURSE "${WORK}")
run(${CMAKE_COMMAND} --install "${BUILD}" --prefix "${WORK}/prefix")
file(GLOB_RECURSE pkgconfig "${WORK}/prefix/KXCoreLib.pc" "${WORK}/prefix/*/KXCoreLib.pc")
get_filename_component(pkgconfig "${pkgconfig}" DIRECTORY)
set(ENV{PKG_CONFIG_PATH} "${pkgconfig}")
run(${CMAKE_COMMAND} -S "${SOURCE}" -B "${WORK}/build" -G Ninja "-DCMAKE_PREFIX_PATH=${WORK}/prefix" -DWAY=${WAY}
    -DCMAKE_C_COMPILER=${C_COMPILER} -DCMAKE_CXX_COMPILER=${CXX_COMPILER})
run(${CMAKE_COMMAND} --build "${WORK}/build")
run("${WORK}/build/consumer")
