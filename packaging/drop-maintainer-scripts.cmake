# Runs on the packages made: CPack adds scripts that call ldconfig to packages with libraries, for
# which the ldconfig trigger is the right way.
foreach(package IN LISTS CPACK_PACKAGE_FILES)
  set(unpacked ${package}.unpacked)
  file(REMOVE_RECURSE ${unpacked})
  execute_process(COMMAND dpkg-deb --raw-extract ${package} ${unpacked} COMMAND_ERROR_IS_FATAL ANY)
  # The package of the service has scripts of its own, and no libraries.
  if(EXISTS ${unpacked}/DEBIAN/postinst AND NOT EXISTS ${unpacked}/DEBIAN/prerm)
    file(REMOVE ${unpacked}/DEBIAN/postinst ${unpacked}/DEBIAN/postrm)
    execute_process(COMMAND dpkg-deb --root-owner-group -Zxz --build ${unpacked} ${package}
                    OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
  endif()
  file(REMOVE_RECURSE ${unpacked})
endforeach()
