rk_add_tests(StressMediaVectorTests LABELS media-memory stress INTERNAL SOURCES
  ${CMAKE_CURRENT_LIST_DIR}/StressMediaVectorTest.cpp)
