# MediaManager.cpp stands in Src/Sources.cmake: it is set up at load time, and these are not.
target_sources(RiverKit PRIVATE
  ${CMAKE_CURRENT_LIST_DIR}/FileBuffer.cpp
  ${CMAKE_CURRENT_LIST_DIR}/MediaEventRing.cpp
  ${CMAKE_CURRENT_LIST_DIR}/MediaItem.cpp
  ${CMAKE_CURRENT_LIST_DIR}/MediaManagerBudget.cpp
  ${CMAKE_CURRENT_LIST_DIR}/MediaManagerEvents.cpp
  ${CMAKE_CURRENT_LIST_DIR}/MediaManagerPurge.cpp
  ${CMAKE_CURRENT_LIST_DIR}/MediaManagerReport.cpp
  ${CMAKE_CURRENT_LIST_DIR}/MediaManagerReserve.cpp
  ${CMAKE_CURRENT_LIST_DIR}/MemoryControlLoop.cpp
  ${CMAKE_CURRENT_LIST_DIR}/MemoryControlLoopPolicies.cpp
  ${CMAKE_CURRENT_LIST_DIR}/MemoryControlLoopReport.cpp
  ${CMAKE_CURRENT_LIST_DIR}/MemoryControlLoopStatistics.cpp
  ${CMAKE_CURRENT_LIST_DIR}/MemoryPressure.cpp
  ${CMAKE_CURRENT_LIST_DIR}/PurgingNewHandler.cpp
  ${CMAKE_CURRENT_LIST_DIR}/QELErrorManager.cpp)
