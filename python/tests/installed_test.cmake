# Installs the build into a scratch prefix and imports the module from there, with PYTHONPATH set
# as the README says: the module must find the installed libalad.so through its relative run path.
# Variables: BUILD, WORK, PYTHON, MODULE_DIR (the module's folder under the prefix).
file(REMOVE_RECURSE "${WORK}")
execute_process(COMMAND ${CMAKE_COMMAND} --install "${BUILD}" --prefix "${WORK}/prefix" RESULT_VARIABLE rc OUTPUT_QUIET)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "install failed")
endif()
set(check [=[
import os, sys, alad
prefix = os.path.realpath(sys.argv[1])
assert os.path.realpath(alad.__file__).startswith(prefix), alad.__file__
assert os.path.exists(os.path.join(os.path.dirname(alad.__file__), "alad.pyi"))
libraries = [line.split()[-1] for line in open("/proc/self/maps") if "libalad.so" in line]
assert libraries and all(os.path.realpath(l).startswith(prefix) for l in libraries), libraries
assert alad.agtm_table(300, 20000).shape == (256,)
]=])
execute_process(COMMAND ${CMAKE_COMMAND} -E env "PYTHONPATH=${WORK}/prefix/${MODULE_DIR}" --unset=LD_LIBRARY_PATH
                        "${PYTHON}" -c "${check}" "${WORK}/prefix"
                WORKING_DIRECTORY "${WORK}" RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "the installed module does not import:\n${out}\n${err}")
endif()
