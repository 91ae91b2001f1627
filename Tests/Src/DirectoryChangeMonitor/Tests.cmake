rk_add_tests(directory_change_monitor_internal_tests LABELS directories INTERNAL SOURCES
  ${CMAKE_CURRENT_LIST_DIR}/MainLoopFolderEventsTest.cpp)
