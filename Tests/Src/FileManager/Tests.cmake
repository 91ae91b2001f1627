rk_add_tests(FileManagerTests LABELS files INTERNAL SOURCES
  ${CMAKE_CURRENT_LIST_DIR}/BooksTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/CloseByPathTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/LimitsTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/PurgeTest.cpp)
