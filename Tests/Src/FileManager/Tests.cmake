rk_add_tests(FileManagerTests LABELS files INTERNAL SOURCES
  ${CMAKE_CURRENT_LIST_DIR}/BooksTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/CloseByPathTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/LimitsTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/ModelTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/PurgeTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/SuggestedLimitsTest.cpp)
rk_add_tests(FileManagerReaderTests LABELS files real SOURCES
  ${CMAKE_CURRENT_LIST_DIR}/ReaderTest.cpp)
rk_add_tests(FileManagerStressTests LABELS files stress INTERNAL SOURCES
  ${CMAKE_CURRENT_LIST_DIR}/StressTest.cpp)
