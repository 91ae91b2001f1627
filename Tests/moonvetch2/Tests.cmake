# With block debug on, records begin at multiples of 4 only.
function(rk_add_plugin_tests name)
  rk_add_tests(${name} ${ARGN})
  if(TARGET ${name} AND RK_SANITIZE MATCHES "undefined")
    target_compile_options(${name} PRIVATE -fno-sanitize=alignment)
  endif()
endfunction()

rk_add_plugin_tests(PluginMemoryInternalTests LABELS plugins INTERNAL SOURCES
  ${CMAKE_CURRENT_LIST_DIR}/BlocksTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/HostTablesTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/StringPoolTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/ThreadWatchTest.cpp)

rk_add_plugin_tests(PluginTests LABELS plugins SOURCES
  ${CMAKE_CURRENT_LIST_DIR}/PluginListTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/PropertiesTest.cpp)
rk_add_plugin_tests(PluginInternalTests LABELS plugins INTERNAL SOURCES
  ${CMAKE_CURRENT_LIST_DIR}/AccessTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/AdaptersTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/ForeignPluginTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/HostilePluginsTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/MessagesTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/PropertyChainTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/ShutdownTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/StartupTest.cpp)
rk_add_plugin_tests(PluginHostTests LABELS plugins SOURCES
  ${CMAKE_CURRENT_LIST_DIR}/BasicSuiteTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/BuiltInSuitesTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/CachesTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/HostLifeTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/RuntimeTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/SuitesTest.cpp)
rk_add_plugin_tests(PluginHostInternalTests LABELS plugins INTERNAL SOURCES
  ${CMAKE_CURRENT_LIST_DIR}/BootTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/WalkTest.cpp)
rk_add_plugin_tests(PluginHostStressTests LABELS plugins stress INTERNAL SOURCES
  ${CMAKE_CURRENT_LIST_DIR}/ThreadWatchStress.cpp)
rk_add_plugin_tests(PluginHostAllocationTests LABELS plugins SOURCES
  ${CMAKE_CURRENT_LIST_DIR}/HostAllocationTest.cpp)
