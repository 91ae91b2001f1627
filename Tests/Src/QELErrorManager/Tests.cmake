rk_add_tests(QELErrorManagerTests LABELS media-memory INTERNAL SOURCES
  ${CMAKE_CURRENT_LIST_DIR}/PurgingNewHandlerTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/QELErrorManagerTest.cpp)
rk_add_tests(LackOfMemoryTests LABELS media-memory real SOURCES
  ${CMAKE_CURRENT_LIST_DIR}/LackOfMemoryTest.cpp)
