# Installs the build into a scratch prefix, builds a separate project against it with
# find_package(zelka), and runs that program from the installed bin folder under Wine.
foreach(var BUILD_DIR SOURCE_DIR TOOLCHAIN WINE)
  if(NOT DEFINED ${var})
    message(FATAL_ERROR "${var} is not set")
  endif()
endforeach()
set(work ${BUILD_DIR}/package-check)
file(REMOVE_RECURSE ${work})

function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE result OUTPUT_VARIABLE out ERROR_VARIABLE out)
  if(NOT result EQUAL 0)
    message(FATAL_ERROR "failed: ${ARGN}\n${out}")
  endif()
  message("${out}")
endfunction()

run(${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${work}/prefix)
run(${CMAKE_COMMAND} -S ${SOURCE_DIR}/consumer -B ${work}/consumer
    -DCMAKE_TOOLCHAIN_FILE=${TOOLCHAIN} -DCMAKE_PREFIX_PATH=${work}/prefix)
run(${CMAKE_COMMAND} --build ${work}/consumer)
file(COPY ${work}/consumer/consumer.exe DESTINATION ${work}/prefix/bin)
run(${WINE} ${work}/prefix/bin/consumer.exe)
