rk_add_tests(ThreadsTests LABELS foundation INTERNAL SOURCES
  ${CMAKE_CURRENT_LIST_DIR}/ClockTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/DescriptorWatchTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/MainThreadTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/PoolTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/RepeatDelayFunctionTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/ViewTest.cpp)
rk_add_tests(ThreadsPublicTests LABELS foundation SOURCES
  ${CMAKE_CURRENT_LIST_DIR}/ExecutorFactoryTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/OnceRegionTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/QueueOnlyOnceTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/RecursiveMutexTest.cpp)
rk_add_tests(ThreadsStressTests LABELS foundation stress SOURCES
  ${CMAKE_CURRENT_LIST_DIR}/DescriptorWatchStressTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/ExecutorStressTest.cpp)
