rk_add_tests(messaging_tests LABELS foundation SOURCES
  ${CMAKE_CURRENT_LIST_DIR}/MessageTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/StationTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/PostedMessagesTest.cpp)

rk_add_tests(messaging_stress_tests LABELS foundation stress SOURCES
  ${CMAKE_CURRENT_LIST_DIR}/StationStressTest.cpp)
