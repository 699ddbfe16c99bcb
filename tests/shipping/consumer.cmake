# Builds the consumer against an installation, and runs what it built.
function(run)
  cmake_parse_arguments(PARSE_ARGV 0 RUN "" "EXPECT" "COMMAND")
  execute_process(COMMAND ${CMAKE_COMMAND} -E env QARCTL_PCI_DUMP=${SAMPLE} ${RUN_COMMAND}
                  OUTPUT_VARIABLE output ECHO_OUTPUT_VARIABLE COMMAND_ERROR_IS_FATAL ANY)
  if(RUN_EXPECT AND NOT output MATCHES "${RUN_EXPECT}")
    message(FATAL_ERROR "the output does not match ${RUN_EXPECT}")
  endif()
endfunction()

file(REMOVE_RECURSE ${BINARY})
run(COMMAND ${CMAKE_COMMAND} -S ${SOURCE} -B ${BINARY} -G ${GENERATOR}
            -DCMAKE_CXX_COMPILER=${COMPILER} -DCMAKE_PREFIX_PATH=${STAGE}
            -DCMAKE_FIND_USE_PACKAGE_REGISTRY=OFF)
run(COMMAND ${CMAKE_COMMAND} --build ${BINARY})
# The sample has a line with an address at its start for each function.
file(STRINGS ${SAMPLE} functions REGEX "^[0-9a-f]+:[0-9a-f][0-9a-f]:[0-9a-f][0-9a-f]\\.[0-7] ")
list(LENGTH functions count)
run(COMMAND ${BINARY}/count_functions EXPECT "^${count}\n$")
run(COMMAND ${STAGE}/bin/pcicim --schema ${SOURCE} --provider ${BINARY}/libexampleprovider.so
            enum Example_PciSummary
    EXPECT "Functions[ =]+${count}")
