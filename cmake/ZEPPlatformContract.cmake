# The contract tests of the platform's declarations, for whoever brings an implementation of them.

cmake_path(SET ZEP_PLATFORM_CONTRACT_FOLDER NORMALIZE ${CMAKE_CURRENT_LIST_DIR}/../tests/platform-contract)

# zep_add_platform_contract_tests(NAME name PLATFORM target ADAPTER source...
#                                 [DECLARATIONS target] [LINK library...] [NOT_OFFERED count])
#
# One GoogleTest program `name`, and a test that runs it whole: all clauses of the contract on PLATFORM, a
# shared library, arranged by ADAPTER (see ContractSetup.h). DECLARATIONS is an interface library with the
# include directories of the client's own headers; without it, those of the project are used. With
# NOT_OFFERED the test fails when the number of skipped clauses is another one.
function(zep_add_platform_contract_tests)
  cmake_parse_arguments(arg "" "NAME;PLATFORM;DECLARATIONS;NOT_OFFERED" "ADAPTER;LINK" ${ARGN})
  if(NOT arg_DECLARATIONS)
    set(arg_DECLARATIONS ZEPPlatformDeclarations)
  endif()

  # Compiled once for all platforms behind the same declarations.
  set(clauses zep_contract_of_${arg_DECLARATIONS})
  string(MAKE_C_IDENTIFIER ${clauses} clauses)
  if(NOT TARGET ${clauses})
    file(GLOB sources CONFIGURE_DEPENDS ${ZEP_PLATFORM_CONTRACT_FOLDER}/*_test.cpp)
    add_library(${clauses} OBJECT ${sources} ${ZEP_PLATFORM_CONTRACT_FOLDER}/ContractMain.cpp)
    target_compile_features(${clauses} PUBLIC cxx_std_20)
    target_compile_options(${clauses} PRIVATE ${ZEP_TEST_OPTIONS})
    target_include_directories(${clauses} PUBLIC ${ZEP_PLATFORM_CONTRACT_FOLDER})
    target_link_libraries(${clauses} PUBLIC ${arg_DECLARATIONS} GTest::gtest)
    set_property(GLOBAL APPEND PROPERTY zep_test_sources ${sources})
  endif()

  add_executable(${arg_NAME} ${arg_ADAPTER})
  set_target_properties(${arg_NAME} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/tests/bin)
  target_compile_options(${arg_NAME} PRIVATE ${ZEP_TEST_OPTIONS})
  target_link_libraries(${arg_NAME} PRIVATE ${clauses} ${arg_PLATFORM} ${arg_LINK})
  add_test(NAME ${arg_NAME} COMMAND ${arg_NAME} --gtest_brief=1)
  set_tests_properties(${arg_NAME} PROPERTIES TIMEOUT 120)
  if(DEFINED arg_NOT_OFFERED)
    set_tests_properties(${arg_NAME} PROPERTIES
      ENVIRONMENT ZEP_CONTRACT_NOT_OFFERED=${arg_NOT_OFFERED})
  endif()
endfunction()
