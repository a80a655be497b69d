# Runs the alad tool as a user would. Variables: ALAD (the tool), WORK (scratch folder), SAMPLE.
file(REMOVE_RECURSE "${WORK}")
file(MAKE_DIRECTORY "${WORK}")
execute_process(COMMAND "${ALAD}" --help RESULT_VARIABLE rc OUTPUT_VARIABLE out)
if(NOT rc EQUAL 0 OR NOT out MATCHES "usage")
  message(FATAL_ERROR "alad --help failed (${rc}): ${out}")
endif()
