rk_add_tests(rk_zor_files_tests LABELS foundation SOURCES
  ${CMAKE_CURRENT_LIST_DIR}/FileTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/PathUtilsTest.cpp)
rk_add_tests(rk_zor_files_on_fakes_tests INTERNAL LABELS foundation SOURCES
  ${CMAKE_CURRENT_LIST_DIR}/FileOnFakesTest.cpp)
rk_add_tests(BufferedFileTests INTERNAL LABELS foundation files SOURCES
  ${CMAKE_CURRENT_LIST_DIR}/BufferedFileTest.cpp)
rk_add_tests(rk_zor_files_real_tests LABELS foundation real SOURCES
  ${CMAKE_CURRENT_LIST_DIR}/FullVolumeTest.cpp)
rk_add_tests(RealBufferedFileTests INTERNAL LABELS foundation files real SOURCES
  ${CMAKE_CURRENT_LIST_DIR}/RealBufferedFileTest.cpp)
rk_add_tests(BufferedFileStressTests INTERNAL LABELS foundation files stress SOURCES
  ${CMAKE_CURRENT_LIST_DIR}/BufferedFileStressTest.cpp)
