# Installs the build into a fresh prefix, builds the example host against the
# installed package only, and runs it offscreen.
#   cmake -DBUILD_DIR=... -DHOST_SOURCE=... -DWORK_DIR=... -P RunInstalledHost.cmake
file(REMOVE_RECURSE ${WORK_DIR})

function(run what)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE output)
  message("${output}")
  if(NOT result EQUAL 0)
    message(FATAL_ERROR "${what} failed (${result})")
  endif()
endfunction()

run("install" ${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${WORK_DIR}/prefix)
run("configure" ${CMAKE_COMMAND} -S ${HOST_SOURCE} -B ${WORK_DIR}/build -DCMAKE_PREFIX_PATH=${WORK_DIR}/prefix
    -DCMAKE_BUILD_TYPE=RelWithDebInfo)
run("build" ${CMAKE_COMMAND} --build ${WORK_DIR}/build)
run("example host" ${CMAKE_COMMAND} -E env QT_QPA_PLATFORM=offscreen ${WORK_DIR}/build/example-host)
file(REMOVE_RECURSE ${WORK_DIR})
