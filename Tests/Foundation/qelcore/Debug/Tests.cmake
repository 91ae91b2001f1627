rk_add_tests(qelcore_debug_tests LABELS foundation SOURCES
  ${CMAKE_CURRENT_LIST_DIR}/CachedDatabaseValueTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/ContractTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/DebugDatabaseTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/DebugMonitorTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/DemangleTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/StackTraceTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/TraceTest.cpp)
rk_add_tests(qelcore_debug_internal_tests LABELS foundation INTERNAL SOURCES
  ${CMAKE_CURRENT_LIST_DIR}/DebugSettingsTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/DebuggerTest.cpp)
rk_add_tests(qelcore_debug_stress_tests LABELS foundation stress SOURCES
  ${CMAKE_CURRENT_LIST_DIR}/DebugStressTest.cpp)
