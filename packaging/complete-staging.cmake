# Runs between staging and packing: gives each package what Debian expects of one.
# CPack leaves it behind, and file(INSTALL) would put it in front of the destination.
unset(ENV{DESTDIR})
set(CMAKE_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS ${CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS})

function(compress file)
  execute_process(COMMAND gzip -9nf ${file} COMMAND_ERROR_IS_FATAL ANY)
endfunction()

# Below the prefix, unless it was set to an absolute path.
cmake_path(APPEND CPACK_PACKAGING_INSTALL_PREFIX ${CPACK_PCIPROVIDER_PROVIDER_DIR}
           OUTPUT_VARIABLE provider_directory)

# What administrators change is not below the prefix.
file(GLOB configuration
     ${CPACK_TEMPORARY_DIRECTORY}/service${CPACK_PACKAGING_INSTALL_PREFIX}/etc)
if(configuration)
  file(RENAME ${configuration} ${CPACK_TEMPORARY_DIRECTORY}/service/etc)
endif()

foreach(component IN LISTS CPACK_COMPONENTS_ALL)
  string(TOUPPER ${component} upper)
  set(package ${CPACK_DEBIAN_${upper}_PACKAGE_NAME})
  set(stage ${CPACK_TEMPORARY_DIRECTORY}/${component}${CPACK_PACKAGING_INSTALL_PREFIX})
  set(documents ${stage}/share/doc/${package})
  file(INSTALL ${CPACK_PCIPROVIDER_DEBIAN_FILES}/copyright DESTINATION ${documents} MESSAGE_NEVER)
  file(INSTALL ${CPACK_PCIPROVIDER_DEBIAN_FILES}/changelog DESTINATION ${documents}
       RENAME changelog.Debian MESSAGE_NEVER)
  compress(${documents}/changelog.Debian)
  set(reasons ${CPACK_PCIPROVIDER_DEBIAN_FILES}/lintian-overrides)
  set(overrides "")
  foreach(file IN ITEMS ${reasons}/common ${reasons}/${package})
    if(EXISTS ${file})
      file(READ ${file} text)
      string(APPEND overrides "${text}")
    endif()
  endforeach()
  file(WRITE ${CPACK_TEMPORARY_DIRECTORY}/overrides/${package} "${overrides}")
  file(INSTALL ${CPACK_TEMPORARY_DIRECTORY}/overrides/${package}
       DESTINATION ${stage}/share/lintian/overrides MESSAGE_NEVER)
  file(GLOB manuals ${stage}/share/man/man*/*)
  foreach(manual IN LISTS manuals)
    compress(${manual})
  endforeach()
  # Installed packages have their libraries in the loader's own directories.
  file(GLOB providers ${CPACK_TEMPORARY_DIRECTORY}/${component}${provider_directory}/*.so)
  foreach(provider IN LISTS providers)
    file(RPATH_REMOVE FILE ${provider})
  endforeach()
endforeach()
