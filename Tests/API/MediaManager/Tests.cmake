rk_add_tests(MediaMapTests LABELS media-memory SOURCES
  ${CMAKE_CURRENT_LIST_DIR}/MediaMapTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/MediaCacheTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/MediaVectorTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/MapsInManagerTest.cpp)
rk_add_tests(MediaMapInternalTests LABELS media-memory INTERNAL SOURCES
  ${CMAKE_CURRENT_LIST_DIR}/MapsByUseTest.cpp)
rk_add_tests(MediaMapStressTests LABELS media-memory stress SOURCES
  ${CMAKE_CURRENT_LIST_DIR}/MediaMapStressTest.cpp)
