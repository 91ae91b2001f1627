target_sources(RiverKit PRIVATE
  ${CMAKE_CURRENT_LIST_DIR}/AsyncExecutor.cpp
  ${CMAKE_CURRENT_LIST_DIR}/DescriptorWatches.cpp
  ${CMAKE_CURRENT_LIST_DIR}/HighPrecisionTime.cpp
  ${CMAKE_CURRENT_LIST_DIR}/Job.cpp
  ${CMAKE_CURRENT_LIST_DIR}/MainThread.cpp
  ${CMAKE_CURRENT_LIST_DIR}/OnceRegion.cpp
  ${CMAKE_CURRENT_LIST_DIR}/Pool.cpp
  ${CMAKE_CURRENT_LIST_DIR}/RecursiveMutex.cpp
  ${CMAKE_CURRENT_LIST_DIR}/RepeatDelayFunction.cpp
  ${CMAKE_CURRENT_LIST_DIR}/Timer.cpp
  ${CMAKE_CURRENT_LIST_DIR}/View.cpp)
