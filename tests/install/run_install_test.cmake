# Script mode: install, configure the consumer against the prefix, build, run.
file(REMOVE_RECURSE ${WORK_DIR})
set(prefix ${WORK_DIR}/prefix)

function(run)
  execute_process(COMMAND ${ARGV} RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(NOT rc EQUAL 0)
    message(FATAL_ERROR "failed (${rc}): ${ARGV}\n${out}\n${err}")
  endif()
  set(last_output "${out}" PARENT_SCOPE)
endfunction()

run(${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${prefix})
run(${CMAKE_COMMAND} -S ${CONSUMER_SOURCE} -B ${WORK_DIR}/consumer -G ${GENERATOR}
    -DCMAKE_PREFIX_PATH=${prefix}
    # Same instrumentation as the runtime (a sanitizer build needs it in the application).
    "-DCMAKE_CXX_FLAGS=${CXX_FLAGS}" "-DCMAKE_EXE_LINKER_FLAGS=${EXE_LINKER_FLAGS}")
run(${CMAKE_COMMAND} --build ${WORK_DIR}/consumer)
execute_process(COMMAND ${CMAKE_COMMAND} -E env --unset=UDMRT_HOME --unset=LD_LIBRARY_PATH
                        ${WORK_DIR}/consumer/consumer
                RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "consumer failed (${rc}):\n${out}\n${err}")
endif()
file(REAL_PATH ${prefix} real_prefix)
string(FIND "${out}" "home=${real_prefix}\n" at)
if(at EQUAL -1)
  message(FATAL_ERROR "the installed runtime did not find its home ${real_prefix}:\n${out}")
endif()
message(STATUS "${out}")
