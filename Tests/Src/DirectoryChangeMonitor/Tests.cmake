rk_add_tests(directory_change_monitor_internal_tests LABELS directories INTERNAL SOURCES
  ${CMAKE_CURRENT_LIST_DIR}/EventThreadTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/MainLoopFolderEventsTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/PollingTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/StreamsTest.cpp)
rk_add_tests(directory_change_monitor_stress_tests LABELS directories stress SOURCES
  ${CMAKE_CURRENT_LIST_DIR}/RealMonitorTest.cpp)
rk_add_tests(directory_change_monitor_real_tests LABELS directories real LIBRARIES rk_faulty_mount_support SOURCES
  ${CMAKE_CURRENT_LIST_DIR}/MountedMonitorTest.cpp)
