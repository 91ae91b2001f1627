rk_add_tests(PluginEdgeInternalTests INTERNAL LABELS plugins SOURCES
  ${CMAKE_CURRENT_LIST_DIR}/MVEFilesTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/MVELoadTest.cpp)
