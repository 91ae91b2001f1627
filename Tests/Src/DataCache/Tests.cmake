rk_add_tests(data_cache_tests LABELS data-caches SOURCES
  ${CMAKE_CURRENT_LIST_DIR}/BinaryDataTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/DataCacheChainLinksTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/DataCacheChainTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/DataCacheContractTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/DataCacheInMemoryTest.cpp)
rk_add_tests(data_cache_internal_tests LABELS data-caches INTERNAL SOURCES
  ${CMAKE_CURRENT_LIST_DIR}/ChainOnFolderTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/DataCacheBaseTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/DataCacheInMemoryAgeTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/DataCacheIndexTest.cpp)
rk_add_tests(folder_store_tests LABELS data-caches INTERNAL SOURCES
  ${CMAKE_CURRENT_LIST_DIR}/FolderStoreFolderTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/FolderStoreReadTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/FolderStoreRepairTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/FolderStoreWatchTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/FolderStoreWriteTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/ItemIndexTest.cpp)
rk_add_tests(data_cache_stress_tests LABELS data-caches stress INTERNAL SOURCES
  ${CMAKE_CURRENT_LIST_DIR}/DataCacheStressTest.cpp)
rk_add_tests(data_cache_chain_stress_tests LABELS data-caches stress SOURCES
  ${CMAKE_CURRENT_LIST_DIR}/DataCacheChainStressTest.cpp)
rk_add_tests(data_cache_real_tests LABELS data-caches real LIBRARIES rk_faulty_mount_support SOURCES
  ${CMAKE_CURRENT_LIST_DIR}/RealDataCacheFaultsTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/RealDataCacheMachineCrashTest.cpp)
rk_add_tests(data_cache_real_stress_tests LABELS data-caches real stress SOURCES
  ${CMAKE_CURRENT_LIST_DIR}/RealDataCacheKillTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/RealDataCacheProcessesTest.cpp)
rk_add_tests(folder_store_on_disk_tests LABELS data-caches SOURCES
  ${CMAKE_CURRENT_LIST_DIR}/FolderStoreTest.cpp)
rk_add_tests(folder_store_stress_tests LABELS data-caches stress SOURCES
  ${CMAKE_CURRENT_LIST_DIR}/FolderStoreStressTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/WatchedFolderStoreTest.cpp)
rk_add_tests(folder_store_large_tests LABELS data-caches real SOURCES
  ${CMAKE_CURRENT_LIST_DIR}/LargestItemTest.cpp)
rk_add_tests(data_cache_road_tests LABELS data-caches real SOURCES
  ${CMAKE_CURRENT_LIST_DIR}/RealCacheRoadTest.cpp)
