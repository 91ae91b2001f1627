rk_add_tests(rk_platform_files_tests INTERNAL LABELS foundation SOURCES
  ${CMAKE_CURRENT_LIST_DIR}/FaultyFileSystemTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/FileSystemTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/FolderTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/MachineFiguresTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/MemoryPressureTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/MountInfoTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/RenameWithoutReplacingTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/RealRightsTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/VisibleMountsTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/VolumeAddressTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/VolumeTableTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/WakeSetTest.cpp)
rk_add_tests(rk_platform_real_tests INTERNAL LABELS foundation real SOURCES
  ${CMAKE_CURRENT_LIST_DIR}/LimitedFiguresTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/MountedVolumesTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/RealMemoryPressureTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/SharedSegmentTest.cpp)
rk_add_tests(rk_platform_machine_crash_tests INTERNAL LABELS foundation real LIBRARIES rk_faulty_mount_support SOURCES
  ${CMAKE_CURRENT_LIST_DIR}/MachineCrashTest.cpp)
rk_add_tests(rk_platform_folder_events_tests INTERNAL LABELS foundation directories SOURCES
  ${CMAKE_CURRENT_LIST_DIR}/EventQueueTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/FolderEventsTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/VolumeKindTest.cpp)
rk_add_tests(rk_platform_folder_events_stress_tests INTERNAL LABELS foundation directories stress SOURCES
  ${CMAKE_CURRENT_LIST_DIR}/FolderEventsStressTest.cpp)
rk_add_tests(rk_platform_folder_events_real_tests INTERNAL LABELS foundation directories real SOURCES
  ${CMAKE_CURRENT_LIST_DIR}/MountedEventQueueTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/MountedFolderEventsTest.cpp)
rk_add_tests(rk_platform_code_tests INTERNAL LABELS foundation plugins LIBRARIES rk_code_samples SOURCES
  ${CMAKE_CURRENT_LIST_DIR}/CodeLoaderTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/ElfFileTest.cpp)
