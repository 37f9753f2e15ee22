# cmake -DPROGRAM=<test program> -DROUNDS=<number> -P RunShuffled.cmake: runs the program so often, its tests in a new
# order each time. scripts/stress does this for longer, and on a busy machine.
foreach(round RANGE 1 ${ROUNDS})
  string(RANDOM LENGTH 4 ALPHABET 123456789 seed)
  execute_process(COMMAND "${PROGRAM}" --gtest_shuffle --gtest_random_seed=${seed}
    RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE output)
  if(NOT result EQUAL 0)
    message(FATAL_ERROR "${output}\n${PROGRAM} --gtest_random_seed=${seed} failed in round ${round}: ${result}")
  endif()
endforeach()
message("${ROUNDS} rounds, none failed.")
