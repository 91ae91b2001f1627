target_sources(RiverKit PRIVATE
  ${CMAKE_CURRENT_LIST_DIR}/Contract.cpp
  ${CMAKE_CURRENT_LIST_DIR}/DebugDatabase.cpp
  ${CMAKE_CURRENT_LIST_DIR}/DebugMonitor.cpp
  ${CMAKE_CURRENT_LIST_DIR}/DebugSettings.cpp
  ${CMAKE_CURRENT_LIST_DIR}/Demangle.cpp
  ${CMAKE_CURRENT_LIST_DIR}/SafeTraceStream.cpp
  ${CMAKE_CURRENT_LIST_DIR}/StackTrace.cpp
  ${CMAKE_CURRENT_LIST_DIR}/Trace.cpp)
