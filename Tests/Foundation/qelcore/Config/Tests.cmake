rk_add_tests(qelcore_config_tests LABELS foundation SOURCES
  ${CMAKE_CURRENT_LIST_DIR}/ClientNameTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/ErrorManagerTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/LocalizerTest.cpp)
