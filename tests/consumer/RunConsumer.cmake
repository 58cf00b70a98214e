# Installs the build into a private prefix, then configures, builds and runs the consumer
# project against it. Run by CTest with BUILD_DIR and CONSUMER_SOURCE set.
set(prefix ${BUILD_DIR}/consumer-prefix)
set(work ${BUILD_DIR}/consumer-build)
file(REMOVE_RECURSE ${prefix} ${work})
function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE result)
  if(NOT result EQUAL 0)
    message(FATAL_ERROR "failed (${result}): ${ARGN}")
  endif()
endfunction()
run(${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${prefix})
run(${CMAKE_COMMAND} -S ${CONSUMER_SOURCE} -B ${work} -G Ninja -DCMAKE_PREFIX_PATH=${prefix})
run(${CMAKE_COMMAND} --build ${work})
run(${work}/consumer)
# The installed program finds the installed library.
run(${prefix}/bin/rovision --help)
