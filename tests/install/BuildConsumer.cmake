# Installs the build in BUILD_DIR into SCRATCH_DIR/prefix, configures and builds the consumer
# project against it, runs the consumer and checks what it prints.
file(REMOVE_RECURSE "${SCRATCH_DIR}")

function(run_step what)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE result OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(NOT result EQUAL 0)
    message(FATAL_ERROR "${what} failed (${result}):\n${out}\n${err}")
  endif()
  set(step_output "${out}" PARENT_SCOPE)
endfunction()

run_step("install" ${CMAKE_COMMAND} --install "${BUILD_DIR}" --prefix "${SCRATCH_DIR}/prefix")
# The live view's page, where the installed programs look for it.
foreach(file index.html app.js cdr.js style.css)
  if(NOT EXISTS "${SCRATCH_DIR}/prefix/share/qorROS2/web/${file}")
    message(FATAL_ERROR "the installed package has no share/qorROS2/web/${file}")
  endif()
endforeach()
run_step("configure consumer" ${CMAKE_COMMAND} -S "${CONSUMER_DIR}" -B "${SCRATCH_DIR}/build"
  -G "${GENERATOR}" -DCMAKE_CXX_COMPILER=${CXX_COMPILER}
  "-DCMAKE_CXX_FLAGS=${CXX_FLAGS}" "-DCMAKE_EXE_LINKER_FLAGS=${LINKER_FLAGS}"
  -DCMAKE_PREFIX_PATH=${SCRATCH_DIR}/prefix)
run_step("build consumer" ${CMAKE_COMMAND} --build "${SCRATCH_DIR}/build")
run_step("run consumer" "${SCRATCH_DIR}/build/consumer")

set(expected "stamp 12.500000000 names 0 capacity 0 RIHS01_df668c74")
string(STRIP "${step_output}" printed)
if(NOT printed STREQUAL expected)
  message(FATAL_ERROR "consumer printed '${printed}', expected '${expected}'")
endif()
message(STATUS "consumer printed: ${printed}")
