# Run by cpack on the packages that it made. It gives packages of libraries scripts that call ldconfig, which
# their triggers do already.
foreach(package IN LISTS CPACK_PACKAGE_FILES)
  set(folder ${CPACK_TEMPORARY_DIRECTORY}/unpacked)
  file(REMOVE_RECURSE ${folder})
  execute_process(COMMAND dpkg-deb --raw-extract ${package} ${folder} COMMAND_ERROR_IS_FATAL ANY)
  if(EXISTS ${folder}/DEBIAN/postinst)
    file(REMOVE ${folder}/DEBIAN/postinst ${folder}/DEBIAN/postrm)
    execute_process(COMMAND dpkg-deb --root-owner-group --build ${folder} ${package}
      OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
  endif()
  file(REMOVE_RECURSE ${folder})
endforeach()
