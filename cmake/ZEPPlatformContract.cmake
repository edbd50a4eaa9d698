# The contract tests of the platform's declarations, for whoever brings an implementation of them.

cmake_path(SET ZEP_PLATFORM_CONTRACT_FOLDER NORMALIZE ${CMAKE_CURRENT_LIST_DIR}/../tests/platform-contract)

# zep_add_platform_contract_tests(NAME name PLATFORM target ADAPTER source...
#                                 [DECLARATIONS target] [AREAS area...] [LINK library...]
#                                 [NOT_OFFERED count])
#
# One GoogleTest program `name`, and a test that runs it whole: all clauses of the contract on PLATFORM, a
# shared library, arranged by ADAPTER (see ContractSetup.h). DECLARATIONS is an interface library with the
# include directories of the client's own headers; without it, those of the project are used. AREAS: some of
# texts, objects, services, xml and web; without it, all. With NOT_OFFERED the test fails when the number of
# skipped clauses is another one.
function(zep_add_platform_contract_tests)
  cmake_parse_arguments(arg "" "NAME;PLATFORM;DECLARATIONS;NOT_OFFERED" "ADAPTER;AREAS;LINK" ${ARGN})
  if(NOT arg_DECLARATIONS)
    set(arg_DECLARATIONS ZEPPlatformDeclarations)
  endif()

  # They take far longer to compile than to run.
  set(options $<$<CONFIG:Release>:-O0>)

  # Compiled once for all platforms behind the same declarations.
  if(NOT arg_AREAS)
    set(arg_AREAS texts objects services xml web)
  endif()
  string(MAKE_C_IDENTIFIER "contract of ${arg_DECLARATIONS} ${arg_AREAS}" clauses)
  if(NOT TARGET ${clauses})
    list(TRANSFORM arg_AREAS REPLACE "(.+)" "${ZEP_PLATFORM_CONTRACT_FOLDER}/\\1_contract_test.cpp"
      OUTPUT_VARIABLE sources)
    add_library(${clauses} OBJECT ${sources} ${ZEP_PLATFORM_CONTRACT_FOLDER}/ContractMain.cpp)
    target_compile_features(${clauses} PUBLIC cxx_std_20)
    target_compile_options(${clauses} PRIVATE ${options})
    target_include_directories(${clauses} PUBLIC ${ZEP_PLATFORM_CONTRACT_FOLDER})
    target_link_libraries(${clauses} PUBLIC ${arg_DECLARATIONS} GTest::gtest)
    set_property(GLOBAL APPEND PROPERTY zep_test_sources ${sources})
  endif()

  add_executable(${arg_NAME} ${arg_ADAPTER})
  set_target_properties(${arg_NAME} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/tests/bin)
  target_compile_options(${arg_NAME} PRIVATE ${options})
  target_link_libraries(${arg_NAME} PRIVATE ${clauses} ${arg_PLATFORM} ${arg_LINK})
  add_test(NAME ${arg_NAME} COMMAND ${arg_NAME} --gtest_brief=1)
  set_tests_properties(${arg_NAME} PROPERTIES TIMEOUT 120)
  if(DEFINED arg_NOT_OFFERED)
    set_tests_properties(${arg_NAME} PROPERTIES
      ENVIRONMENT ZEP_CONTRACT_NOT_OFFERED=${arg_NOT_OFFERED})
  endif()
endfunction()
