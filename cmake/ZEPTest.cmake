# Most tests take far longer to compile than to run, and it is not they that are shipped.
set(ZEP_TEST_OPTIONS $<$<CONFIG:Release>:-O0>)

# GoogleTest's headers are read once for all programs that are compiled with the same options. A compiler cache
# does better without.
if(CMAKE_CXX_COMPILER_ID STREQUAL GNU AND NOT CMAKE_CXX_COMPILER_LAUNCHER AND NOT WIN32)
  set(ZEP_TEST_HEADERS zep_test_headers)
endif()

function(zep_add_test_headers)
  file(CONFIGURE OUTPUT test_headers.cpp CONTENT "int main() {}\n")
  add_executable(${ZEP_TEST_HEADERS} EXCLUDE_FROM_ALL ${CMAKE_CURRENT_BINARY_DIR}/test_headers.cpp)
  target_link_libraries(${ZEP_TEST_HEADERS} PRIVATE GTest::gmock)
  target_compile_options(${ZEP_TEST_HEADERS} PRIVATE ${ZEP_TEST_OPTIONS})
  target_precompile_headers(${ZEP_TEST_HEADERS} PRIVATE <gmock/gmock.h> <gtest/gtest.h>)
endfunction()

# zep_add_test(NAME SOURCES source... [LINK library...] [SCRIPTED] [WITHOUT_LIBRARY] [OPTIMISED])
#
# One GoogleTest program. CTest runs each of its tests in a process of its own, because the library
# keeps values for the life of the process. SCRIPTED binds the library to the scripted platform,
# otherwise the program runs on the reference platform. WITHOUT_LIBRARY leaves it to the program to
# load the library. OPTIMISED is for those that compute a lot themselves.
function(zep_add_test name)
  cmake_parse_arguments(arg "SCRIPTED;WITHOUT_LIBRARY;OPTIMISED" "" "SOURCES;LINK" ${ARGN})
  add_executable(${name} ${arg_SOURCES})
  set_target_properties(${name} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/tests/bin)
  if(arg_SCRIPTED)
    target_link_libraries(${name} PRIVATE ZEPPlatformScripted)
  else()
    target_link_libraries(${name} PRIVATE ZEPPlatform)
  endif()
  if(NOT arg_WITHOUT_LIBRARY)
    target_link_libraries(${name} PRIVATE ZEPCfgCommonServices)
  endif()
  target_link_libraries(${name} PRIVATE GTest::gmock GTest::gtest_main ${arg_LINK})
  target_link_options(${name} PRIVATE LINKER:--no-as-needed)
  if(arg_OPTIMISED)
    target_compile_options(${name} PRIVATE $<$<NOT:$<CONFIG:Release>>:-O1>)
  else()
    target_compile_options(${name} PRIVATE ${ZEP_TEST_OPTIONS})
    if(ZEP_TEST_HEADERS)
      target_precompile_headers(${name} REUSE_FROM ${ZEP_TEST_HEADERS})
    endif()
  endif()
  gtest_discover_tests(${name} TEST_PREFIX "${name}." DISCOVERY_MODE PRE_TEST DISCOVERY_TIMEOUT 60
    PROPERTIES TIMEOUT 120)
  foreach(source IN LISTS arg_SOURCES)
    cmake_path(ABSOLUTE_PATH source BASE_DIRECTORY ${CMAKE_CURRENT_SOURCE_DIR})
    set_property(GLOBAL APPEND PROPERTY zep_test_sources ${source})
  endforeach()
endfunction()

# A test file that no target builds would never run: the configuration fails on one.
function(zep_require_registered_tests)
  file(GLOB_RECURSE found CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/*_test.cpp)
  get_property(registered GLOBAL PROPERTY zep_test_sources)
  list(REMOVE_ITEM found ${registered})
  if(found)
    message(FATAL_ERROR "test files that no target builds: ${found}")
  endif()
endfunction()

# zep_add_pytest(AREA NAME=value...)
#
# Each file of pytest cases in this folder as one test, with these environment variables. The system's
# own Python, because another one in the search path would lack the system's packages.
function(zep_add_pytest area)
  find_program(ZEP_PYTHON python3 PATHS /usr/bin NO_DEFAULT_PATH REQUIRED)
  file(GLOB modules CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/test_*.py)
  foreach(module IN LISTS modules)
    cmake_path(GET module STEM name)
    string(REPLACE "test_" "${area}." name ${name})
    add_test(NAME ${name}
      COMMAND ${ZEP_PYTHON} -B -m pytest -q -p no:cacheprovider ${module}
      WORKING_DIRECTORY ${CMAKE_CURRENT_BINARY_DIR})
    set_tests_properties(${name} PROPERTIES TIMEOUT 600 ENVIRONMENT "${ARGN}")
  endforeach()
endfunction()
