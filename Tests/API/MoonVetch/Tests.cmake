rk_add_tests(rk_properties_tests LABELS plugins SOURCES ${CMAKE_CURRENT_LIST_DIR}/PropertiesTest.cpp)
