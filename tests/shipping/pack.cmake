# Makes the packages in a directory that held nothing before.
file(REMOVE_RECURSE ${PACKAGES})
execute_process(COMMAND ${CPACK} -G DEB --config ${CONFIG} -B ${PACKAGES}
                COMMAND_ERROR_IS_FATAL ANY)
