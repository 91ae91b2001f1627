rk_add_tests(MemoryTests LABELS foundation INTERNAL SOURCES
  ${CMAKE_CURRENT_LIST_DIR}/MemoryRecyclerTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/RecycledMemoryTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/SmallBlockAllocatorTest.cpp)
rk_add_tests(MemoryStressTests LABELS foundation stress SOURCES
  ${CMAKE_CURRENT_LIST_DIR}/SmallBlockAllocatorStressTest.cpp)
