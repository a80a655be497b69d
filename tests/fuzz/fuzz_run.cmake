# One bounded fuzzing run: FUZZER for SECONDS from the seeds in SEEDS (read only), new inputs and any
# finding in WORK; DICTIONARY optional. Fails when the fuzzer finds something.
file(MAKE_DIRECTORY "${WORK}/corpus")
set(options -max_total_time=${SECONDS} -timeout=25 -rss_limit_mb=2560 -print_final_stats=1
            -artifact_prefix=${WORK}/)
if(DICTIONARY)
  list(APPEND options -dict=${DICTIONARY})
endif()
execute_process(COMMAND "${FUZZER}" ${options} "${WORK}/corpus" "${SEEDS}" RESULT_VARIABLE rc
                OUTPUT_VARIABLE out ERROR_VARIABLE out)
file(WRITE "${WORK}/log.txt" "${out}")
string(REGEX MATCH "stat::number_of_executed_units: *[0-9]+" executed "${out}")
string(REGEX MATCHALL "cov: [0-9]+ ft: [0-9]+" coverage "${out}")
list(POP_BACK coverage last)
message(STATUS "${FUZZER}: ${executed}; last ${last}")
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "${out}\nthe fuzzer found something (exit ${rc}); the input is in ${WORK}/")
endif()
