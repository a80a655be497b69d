# Installs the built library into a scratch prefix, then configures and builds a small consumer
# against it, once with find_package(alad) and once through pkg-config.
file(REMOVE_RECURSE "${WORK}")
execute_process(COMMAND ${CMAKE_COMMAND} --install "${BUILD}" --prefix "${WORK}/prefix"
                RESULT_VARIABLE rc OUTPUT_QUIET)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "install failed")
endif()
execute_process(COMMAND ${CMAKE_COMMAND} -S "${SOURCE}/tests/install/consumer" -B "${WORK}/build"
                        -G "${GENERATOR}" "-DCMAKE_PREFIX_PATH=${WORK}/prefix"
                RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "consumer configure failed:\n${out}\n${err}")
endif()
execute_process(COMMAND ${CMAKE_COMMAND} --build "${WORK}/build" RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "consumer build failed:\n${out}\n${err}")
endif()
foreach(exe consumer_cmake consumer_pkgconfig)
  execute_process(COMMAND "${WORK}/build/${exe}" RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(NOT rc EQUAL 0)
    message(FATAL_ERROR "${exe} failed (${rc}):\n${out}\n${err}")
  endif()
endforeach()
