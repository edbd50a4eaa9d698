# `cpack` in the build tree writes the Debian packages to its folder packages/.
set(ZEP_MAINTAINER "ZEPCfgCommonServices maintainers <maintainers@zepcfg.invalid>"
  CACHE STRING "Maintainer named in the packages")

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME zepcfgcommonservices)
set(CPACK_PACKAGE_CONTACT "${ZEP_MAINTAINER}")
set(CPACK_PACKAGE_DIRECTORY ${CMAKE_BINARY_DIR}/packages)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_STRIP_FILES ON)
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_COMPONENTS_ALL Library Development Platform PlatformDevelopment Tools)

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# Libraries of this build belong to no installed package; what depends on them is said below.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_LIBRARY_OUTPUT_DIRECTORY})

# zep_debian_package(COMPONENT NAME SECTION DESCRIPTION [DEPENDS component...])
macro(zep_debian_package component name section description)
  string(TOUPPER ${component} upper)
  cmake_parse_arguments(arg "" "" "DEPENDS" ${ARGN})
  set(CPACK_DEBIAN_${upper}_PACKAGE_NAME ${name})
  set(CPACK_DEBIAN_${upper}_PACKAGE_SECTION ${section})
  set(CPACK_DEBIAN_${upper}_DESCRIPTION "${description}")
  set(CPACK_COMPONENT_${upper}_DEPENDS ${arg_DEPENDS})
endmacro()

zep_debian_package(Library libzepcfgcommonservices1 libs
"services on configuration expressions - shared library
Formats, splits, cleans and compares the XML expressions that say for which
products, variants, dates and units a part is valid, and calls the server
that supplies their stylesheet.
.
It stands on the libraries of the client that loads it; libzepplatform1 has
an implementation of them.")
# A client that has a platform of its own needs no other.
set(CPACK_DEBIAN_LIBRARY_PACKAGE_RECOMMENDS "libzepplatform1 (>= ${PROJECT_VERSION})")

zep_debian_package(Development libzepcfgcommonservices-dev libdevel
"services on configuration expressions - development files
Headers of the library, the declarations of the platform that it stands on,
files for CMake and pkg-config, and example programs.
.
A program links an implementation of the platform beside the library: its
own, or the one of libzepplatform-dev."
  DEPENDS Library)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SUGGESTS "libzepplatform-dev (= ${PROJECT_VERSION})")

zep_debian_package(Platform libzepplatform1 libs
"services on configuration expressions - reference platform
The texts, files, settings, XML, HTTP and filters that the library
libzepcfgcommonservices1 asks of the client that loads it, made real on a
plain Linux machine.")

zep_debian_package(PlatformDevelopment libzepplatform-dev libdevel
"services on configuration expressions - platform's development files
What is needed to link a program with the reference platform: its own
headers, and files for CMake and pkg-config. The declarations that it makes
real are those of libzepcfgcommonservices-dev."
  DEPENDS Platform Development)

zep_debian_package(Tools zepcfg utils
"command line for configuration expressions
Shows configuration expressions as text, splits, cleans, compiles and
compares them, and calls the server that supplies their stylesheet.
.
With it come stylesheets, the schema, sample expressions, and
zep-demo-server, a small server to try it on."
  DEPENDS Library Platform)

# zep_debian_library(COMPONENT PACKAGE LIBRARY): tells the loader and other packages of the library.
macro(zep_debian_library component package library)
  set(control ${CMAKE_CURRENT_BINARY_DIR}/${package})
  file(WRITE ${control}/triggers "activate-noawait ldconfig\n")
  file(WRITE ${control}/shlibs "${library} 1 ${package} (>= ${PROJECT_VERSION})\n")
  set(CPACK_DEBIAN_${component}_PACKAGE_CONTROL_EXTRA ${control}/triggers ${control}/shlibs)
endmacro()
zep_debian_library(LIBRARY libzepcfgcommonservices1 libZEPCfgCommonServices)
zep_debian_library(PLATFORM libzepplatform1 libZEPPlatform)

set(CPACK_PRE_BUILD_SCRIPTS ${CMAKE_CURRENT_SOURCE_DIR}/finish-debian-packages.cmake)
set(CPACK_POST_BUILD_SCRIPTS ${CMAKE_CURRENT_SOURCE_DIR}/remove-debian-scripts.cmake)
include(CPack)
