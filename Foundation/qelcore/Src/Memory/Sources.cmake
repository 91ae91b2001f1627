target_sources(RiverKit PRIVATE
  ${CMAKE_CURRENT_LIST_DIR}/MemoryRecycler.cpp
  ${CMAKE_CURRENT_LIST_DIR}/RecycledMemory.cpp
  ${CMAKE_CURRENT_LIST_DIR}/SmallBlockAllocator.cpp)
