rk_add_tests(qelcore_serialization_tests LABELS foundation SOURCES
  ${CMAKE_CURRENT_LIST_DIR}/JSONTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/ObjectsTest.cpp)
rk_add_tests(qelcore_large_json_tests LABELS foundation stress SOURCES
  ${CMAKE_CURRENT_LIST_DIR}/LargeJSONTest.cpp)
