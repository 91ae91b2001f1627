rk_add_tests(qelcore_console_tests LABELS foundation SOURCES ${CMAKE_CURRENT_LIST_DIR}/ConsoleTest.cpp)
