rk_add_tests(qelmediatypes_tests LABELS foundation SOURCES
  ${CMAKE_CURRENT_LIST_DIR}/MediaTypesTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/TickTimeTest.cpp)
