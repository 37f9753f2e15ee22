# Installs the build into a folder of its own, builds the consumer against that copy, and runs it.

function(run)
  execute_process(COMMAND ${ARGV} RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE output)
  if(NOT result EQUAL 0)
    message(FATAL_ERROR "failed (${result}): ${ARGV}\n${output}")
  endif()
endfunction()

file(REMOVE_RECURSE "${WORK}")
run(${CMAKE_COMMAND} --install "${BUILD}" --prefix "${WORK}/prefix")

# The computer's store is made as the system starts.
set(folders "${WORK}/prefix/lib/tmpfiles.d/kxplatform.conf")
if(NOT EXISTS "${folders}")
  message(FATAL_ERROR "not installed: ${folders}")
endif()
find_program(SYSTEMD_TMPFILES systemd-tmpfiles)
execute_process(COMMAND id -u OUTPUT_VARIABLE user OUTPUT_STRIP_TRAILING_WHITESPACE)
if(SYSTEMD_TMPFILES AND user EQUAL 0)
  file(MAKE_DIRECTORY "${WORK}/root")
  file(CREATE_LINK /etc "${WORK}/root/etc" SYMBOLIC)  # root's name
  run(${SYSTEMD_TMPFILES} --create "--root=${WORK}/root" "${folders}")
  if(NOT IS_DIRECTORY "${WORK}/root/run/kxplatform/dynamic-store")
    message(FATAL_ERROR "systemd-tmpfiles has not made the store's folder")
  endif()
endif()

file(GLOB_RECURSE pkgconfig "${WORK}/prefix/KXCoreLib.pc" "${WORK}/prefix/*/KXCoreLib.pc")
get_filename_component(pkgconfig "${pkgconfig}" DIRECTORY)
set(ENV{PKG_CONFIG_PATH} "${pkgconfig}")
run(${CMAKE_COMMAND} -S "${SOURCE}" -B "${WORK}/build" -G Ninja "-DCMAKE_PREFIX_PATH=${WORK}/prefix" -DWAY=${WAY}
    -DCMAKE_C_COMPILER=${C_COMPILER} -DCMAKE_CXX_COMPILER=${CXX_COMPILER})
run(${CMAKE_COMMAND} --build "${WORK}/build")
run("${WORK}/build/consumer")
