# Run by cpack between the installation and the packaging: what only a Debian package wants.

# Code of these packages is in ours: static libraries, templates of headers. Their terms go with it.
set(contained_Platform libcadical-dev libflatbuffers-dev libfmt-dev libsimdjson-dev libspdlog-dev
    libtomlplusplus-dev)
set(contained_Tools libcli11-dev libcpp-httplib-dev nlohmann-json3-dev)

# Without a time, so that the same files make the same package.
function(compress file)
  execute_process(COMMAND gzip -9n ${file} COMMAND_ERROR_IS_FATAL ANY)
endfunction()

function(write_copyright component file)
  file(READ ${CMAKE_CURRENT_LIST_DIR}/debian-copyright text)
  foreach(package IN LISTS contained_${component})
    file(READ /usr/share/doc/${package}/copyright terms)
    string(APPEND text "\n\nCode of ${package} is in this package, under these terms:\n\n${terms}")
  endforeach()
  file(WRITE ${file} "${text}")
endfunction()

function(write_documents component root)
  string(TOUPPER ${component} upper)
  set(documents ${root}/share/doc/${CPACK_DEBIAN_${upper}_PACKAGE_NAME})
  file(MAKE_DIRECTORY ${documents})
  write_copyright(${component} ${documents}/copyright)
  configure_file(${CMAKE_CURRENT_LIST_DIR}/debian-changelog ${documents}/changelog COPYONLY)
  compress(${documents}/changelog)
endfunction()

function(compress_manuals root)
  file(GLOB_RECURSE manuals ${root}/share/man/*)
  foreach(manual IN LISTS manuals)
    compress(${manual})
  endforeach()
endfunction()

# In /usr the loader finds the libraries by itself.
function(remove_runpaths root)
  file(GLOB programs ${root}/bin/*)
  foreach(program IN LISTS programs)
    file(RPATH_REMOVE FILE ${program})
  endforeach()
endfunction()

foreach(component IN LISTS CPACK_COMPONENTS_ALL)
  set(root ${CPACK_TEMPORARY_DIRECTORY}/${component}${CPACK_PACKAGING_INSTALL_PREFIX})
  write_documents(${component} ${root})
  compress_manuals(${root})
  remove_runpaths(${root})
endforeach()
