rk_add_tests(rk_zor_files_tests LABELS foundation SOURCES
  ${CMAKE_CURRENT_LIST_DIR}/FileTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/PathUtilsTest.cpp)
rk_add_tests(rk_zor_files_on_fakes_tests INTERNAL LABELS foundation SOURCES
  ${CMAKE_CURRENT_LIST_DIR}/FileOnFakesTest.cpp)
rk_add_tests(rk_zor_files_real_tests LABELS foundation real SOURCES
  ${CMAKE_CURRENT_LIST_DIR}/FullVolumeTest.cpp)
