rk_add_tests(MediaManagerTests LABELS media-memory INTERNAL SOURCES
  ${CMAKE_CURRENT_LIST_DIR}/BudgetTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/EventsTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/FlushToTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/LifeTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/MediaEventRingTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/MediaItemTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/MemoryControlLoopPoliciesTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/MemoryControlLoopReportTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/MemoryControlLoopStatisticsTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/MemoryControlLoopTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/MemoryPressureTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/ModelTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/PurgeStepsTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/PurgeTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/ReportTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/ReserveTest.cpp)
rk_add_tests(MemoryControlLoopAllocationTests LABELS media-memory INTERNAL SOURCES
  ${CMAKE_CURRENT_LIST_DIR}/MemoryControlLoopAllocationTest.cpp)
rk_add_tests(MediaManagerStressTests LABELS media-memory stress INTERNAL SOURCES
  ${CMAKE_CURRENT_LIST_DIR}/MemoryControlLoopStressTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/StressTest.cpp)
rk_add_tests(FileBufferTests LABELS files media-memory INTERNAL SOURCES
  ${CMAKE_CURRENT_LIST_DIR}/FileBufferTest.cpp)
