# cmake -P script: install BUILD_DIR into WORK_DIR/prefix, build CONSUMER_SOURCE against
# it in WORK_DIR/build and run the consumer's programs. Any failing step fails the test.
file(REMOVE_RECURSE ${WORK_DIR})
set(prefix ${WORK_DIR}/prefix)

function(step what)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE status)
  if(NOT status EQUAL 0)
    message(FATAL_ERROR "install test: ${what} failed (${status})")
  endif()
endfunction()

step("install" ${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${prefix})
step("configure the consumer" ${CMAKE_COMMAND} -S ${CONSUMER_SOURCE} -B ${WORK_DIR}/build
     -DCMAKE_PREFIX_PATH=${prefix} -DCMAKE_CXX_COMPILER=${CXX_COMPILER}
     -DCMAKE_CXX_FLAGS=${CXX_FLAGS} -DCMAKE_BUILD_TYPE=${BUILD_TYPE})
step("build the consumer" ${CMAKE_COMMAND} --build ${WORK_DIR}/build)
step("run the kxlib consumer" ${WORK_DIR}/build/kxlib_consumer)
step("run the plug-in consumer" ${WORK_DIR}/build/plugin_consumer)
# The installed kxrun finds the installed plug-in beside it.
step("run the installed kxrun" ${prefix}/bin/kxrun list)
