# The default transcript (standard output and standard error) of a walk through every public path
# that prints, byte for byte against the one kept beside this script. Variables: PROGRAM, WORK,
# EXPECTED (the folder with stdout.txt and stderr.txt), EMULATOR (empty unless cross-built).
file(REMOVE_RECURSE "${WORK}")
file(MAKE_DIRECTORY "${WORK}")
execute_process(COMMAND ${EMULATOR} "${PROGRAM}" WORKING_DIRECTORY "${WORK}" RESULT_VARIABLE rc
                OUTPUT_FILE "${WORK}/stdout.txt" ERROR_FILE "${WORK}/stderr.txt")
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "${PROGRAM} failed: ${rc}")
endif()
foreach(stream stdout stderr)
  execute_process(COMMAND ${CMAKE_COMMAND} -E compare_files "${EXPECTED}/${stream}.txt" "${WORK}/${stream}.txt"
                  RESULT_VARIABLE differ)
  if(differ)
    message(FATAL_ERROR "the ${stream} transcript changed: compare ${WORK}/${stream}.txt with "
                        "${EXPECTED}/${stream}.txt (diff -u)")
  endif()
endforeach()
