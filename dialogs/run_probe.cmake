# Runs PROBE (with ARGS) RUNS times; fails at the first run that does not exit 0.
foreach(run RANGE 1 ${RUNS})
  execute_process(COMMAND ${PROBE} ${ARGS} RESULT_VARIABLE status)
  if(NOT status EQUAL 0)
    message(FATAL_ERROR "run ${run} of ${RUNS}: exit status ${status}")
  endif()
endforeach()
