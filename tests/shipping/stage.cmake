# Installs the build tree into a directory that held nothing before.
file(REMOVE_RECURSE ${STAGE})
execute_process(
  COMMAND ${CMAKE_COMMAND} --install ${BUILD_DIRECTORY} --prefix ${STAGE} --strip
  OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
