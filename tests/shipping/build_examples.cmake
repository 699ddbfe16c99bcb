# Builds the installed examples against the installation, as a user of the packages does.
function(run)
  execute_process(COMMAND ${ARGN} COMMAND_ERROR_IS_FATAL ANY)
endfunction()

file(REMOVE_RECURSE ${BINARY})
foreach(example IN ITEMS provider client)
  run(${CMAKE_COMMAND} -S ${EXAMPLES}/${example} -B ${BINARY}/${example} -G ${GENERATOR}
      -DCMAKE_CXX_COMPILER=${COMPILER} -DCMAKE_PREFIX_PATH=${STAGE}
      -DCMAKE_FIND_USE_PACKAGE_REGISTRY=OFF
      "-DCMAKE_CXX_FLAGS=-Wall -Wextra -Wpedantic -Wshadow -Wconversion -Werror")
  run(${CMAKE_COMMAND} --build ${BINARY}/${example})
endforeach()
