rk_add_tests(DiskCacheManagerTests LABELS disk-cache INTERNAL SOURCES
  ${CMAKE_CURRENT_LIST_DIR}/DeepTreeTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/FileUtilsTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/LimitsTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/QueueCleanupTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/RegistryTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/SweepReportTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/SweepSilenceTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/SweepTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/SweepTimesTest.cpp)
rk_add_tests(RealDiskCacheManagerTests LABELS disk-cache real SOURCES
  ${CMAKE_CURRENT_LIST_DIR}/RealSweepTest.cpp)
rk_add_tests(MountedDiskCacheTests LABELS disk-cache real SOURCES
  ${CMAKE_CURRENT_LIST_DIR}/MountedTimesTest.cpp)
rk_add_tests(ManyCachedFilesTests LABELS disk-cache real stress SOURCES
  ${CMAKE_CURRENT_LIST_DIR}/ManyFilesTest.cpp)
rk_add_tests(DiskCacheManagerStressTests LABELS disk-cache stress INTERNAL SOURCES
  ${CMAKE_CURRENT_LIST_DIR}/SweepStressTest.cpp)
rk_add_tests(MountedDiskCacheFaultsTests LABELS disk-cache real LIBRARIES rk_faulty_mount_support SOURCES
  ${CMAKE_CURRENT_LIST_DIR}/MountedFaultsTest.cpp)
rk_add_tests(HostileSweepTests LABELS disk-cache real stress SOURCES
  ${CMAKE_CURRENT_LIST_DIR}/HostileSweepTest.cpp)
