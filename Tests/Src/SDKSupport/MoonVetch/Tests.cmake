rk_add_tests(PluginSupportTests LABELS plugins SOURCES
  ${CMAKE_CURRENT_LIST_DIR}/PluginSupportTest.cpp)
rk_add_tests(BasicSuiteLocksTests LABELS plugins INTERNAL SOURCES
  ${CMAKE_CURRENT_LIST_DIR}/BasicSuiteLocksTest.cpp)
rk_add_tests(PluginSupportStressTests LABELS plugins stress SOURCES
  ${CMAKE_CURRENT_LIST_DIR}/PluginSupportStressTest.cpp)
