# What holds for every target of the project.

# Where Debian keeps libraries, under every prefix: one build serves an installation and the packages.
if(CMAKE_LIBRARY_ARCHITECTURE)
  set(CMAKE_INSTALL_LIBDIR lib/${CMAKE_LIBRARY_ARCHITECTURE} CACHE STRING "Folder of libraries")
endif()
include(GNUInstallDirs)
set(CMAKE_INSTALL_DEFAULT_COMPONENT_NAME Tools)

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

if(NOT CMAKE_BUILD_TYPE)
  set(CMAKE_BUILD_TYPE Release CACHE STRING "Build type" FORCE)
endif()

set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/bin)
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/lib)
set(CMAKE_ARCHIVE_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/lib)

set(CMAKE_BUILD_RPATH_USE_ORIGIN ON)

# zep_install_program(TARGET)
#
# It finds its libraries beside itself, before and after installation. One search path serves both: CMake would
# fill up the one of the build with empty folders, which the loader takes for the current one.
function(zep_install_program target)
  set(folders "$ORIGIN/../${CMAKE_INSTALL_LIBDIR}" "$ORIGIN/../lib")
  list(REMOVE_DUPLICATES folders)
  set_target_properties(${target} PROPERTIES BUILD_WITH_INSTALL_RPATH ON INSTALL_RPATH "${folders}")
  install(TARGETS ${target} RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
endfunction()

add_compile_options(
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wnon-virtual-dtor -Woverloaded-virtual)
# GCC 12 sees overlapping copies in its own std::string wherever text is put before a string.
add_compile_options($<$<CXX_COMPILER_ID:GNU>:-Wno-restrict>)
# A unique symbol would keep the library in memory after dlclose.
add_compile_options($<$<CXX_COMPILER_ID:GNU>:-fno-gnu-unique>)

# zep_name_no_folders(TARGET): what is shipped names its source files from the project's root on.
function(zep_name_no_folders target)
  target_compile_options(${target} PRIVATE $<$<CONFIG:Release>:-fmacro-prefix-map=${CMAKE_SOURCE_DIR}/=>)
endfunction()

option(ZEP_WERROR "Treat warnings as errors" OFF)
if(ZEP_WERROR)
  add_compile_options(-Werror)
endif()

option(ZEP_SANITIZE "Build with the address and undefined-behaviour sanitizers" OFF)
if(ZEP_SANITIZE)
  add_compile_options(
    -fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=address,undefined)
endif()

# The counters stand in files that all processes share while they run, so that nothing is lost of those
# that end by a signal or by _exit.
option(ZEP_COVERAGE "Build for a coverage report (needs Clang)" OFF)
if(ZEP_COVERAGE)
  set(ZEP_COVERAGE_OPTIONS -fprofile-instr-generate=${CMAKE_BINARY_DIR}/profiles/%m%c.profraw
    -fcoverage-mapping -fprofile-update=atomic "SHELL:-mllvm -runtime-counter-relocation")
  set(ZEP_COVERAGE_LINK_OPTIONS -fprofile-instr-generate)
  add_compile_options(${ZEP_COVERAGE_OPTIONS})
  add_link_options(${ZEP_COVERAGE_LINK_OPTIONS})
endif()
