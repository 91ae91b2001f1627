rk_add_tests(tqm_tests LABELS foundation SOURCES ${CMAKE_CURRENT_LIST_DIR}/ApplicationTypeTest.cpp)
