# The build tree is laid out like an installation, so that programs run from it find their resources.
set(ZEP_SHARE_DIR ${CMAKE_INSTALL_DATADIR}/zepcfg)

# zep_share(FOLDER file...)
#
# Puts files under FOLDER of the installation root, in the build tree and in an installation.
function(zep_share folder)
  foreach(file IN LISTS ARGN)
    cmake_path(GET file FILENAME name)
    configure_file(${file} ${CMAKE_BINARY_DIR}/${ZEP_SHARE_DIR}/${folder}/${name} COPYONLY)
  endforeach()
  install(FILES ${ARGN} DESTINATION ${ZEP_SHARE_DIR}/${folder})
endfunction()
