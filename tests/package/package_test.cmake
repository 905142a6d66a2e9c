# Installs the build into an empty folder, builds the consumer project against that alone, and runs it there.
function(run what)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE output)
  if(NOT result EQUAL 0)
    message(FATAL_ERROR "${what} failed (${result}):\n${output}")
  endif()
  set(output "${output}" PARENT_SCOPE)
endfunction()

file(REMOVE_RECURSE ${WORK})
run("Installing" ${CMAKE_COMMAND} --install ${BUILD} --prefix ${WORK}/prefix)
set(flags)
if(SANITIZE)
  set(flags "-DCMAKE_CXX_FLAGS=-fsanitize=${SANITIZE}")
endif()
run("Configuring the consumer"
    ${CMAKE_COMMAND} -S ${CONSUMER} -B ${WORK}/build -G ${GENERATOR} -DCMAKE_BUILD_TYPE=Release
    "-DCMAKE_PREFIX_PATH=${WORK}/prefix\;${PREFIX_PATH}" ${TOOLCHAIN} -DCMAKE_CXX_COMPILER=${COMPILER} ${flags})
run("Building the consumer" ${CMAKE_COMMAND} --build ${WORK}/build)
# The installed DLLs lie in one folder; a program belongs beside them.
file(COPY ${WORK}/build/consumer${SUFFIX} DESTINATION ${WORK}/prefix/bin)
set(ENV{LD_LIBRARY_PATH} ${WORK}/prefix/lib:${PREFIX_PATH}/lib)
run("Running the consumer" ${EMULATOR} ${WORK}/prefix/bin/consumer${SUFFIX})
if(NOT output MATCHES "Failed to parse")
  message(FATAL_ERROR "The consumer printed:\n${output}")
endif()
