find_package(ICU REQUIRED COMPONENTS uc)
find_package(rapidcheck REQUIRED)

rk_add_tests(qelcore_text_tests LABELS foundation LIBRARIES ICU::uc rapidcheck ${CMAKE_DL_LIBS}
  SOURCES
  ${CMAKE_CURRENT_LIST_DIR}/BinaryTextTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/CaseFoldingTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/FileNameTextTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/GuidTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/ImmutableStringLockTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/ImmutableStringTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/LocaleTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/MixHashTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/NumberTextTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/TextConversionTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/UTFStreamTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/UTFStringTest.cpp)

rk_add_tests(qelcore_text_stress_tests LABELS foundation stress
  SOURCES ${CMAKE_CURRENT_LIST_DIR}/ImmutableStringStressTest.cpp)

# The case folding table is checked in; this says when it is no longer what its tool makes.
add_executable(rk_make_case_folding_table
  ${PROJECT_SOURCE_DIR}/Foundation/qelcore/Tools/MakeCaseFoldingTable.cpp)
target_link_libraries(rk_make_case_folding_table PRIVATE rk_options ICU::uc)
add_test(NAME CaseFoldingTable.IsWhatItsToolMakes
  COMMAND rk_make_case_folding_table --check
          ${PROJECT_SOURCE_DIR}/Foundation/qelcore/Src/Text/CaseFoldingTable.h)
set_tests_properties(CaseFoldingTable.IsWhatItsToolMakes PROPERTIES
  LABELS foundation SKIP_RETURN_CODE 77)
