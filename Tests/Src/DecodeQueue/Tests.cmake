rk_add_tests(DecodeQueueTests LABELS decode-queues SOURCES
  ${CMAKE_CURRENT_LIST_DIR}/DecodeQueueStagesTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/DecodeQueueLimitsTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/DecodeQueueCancelTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/DecodeQueueCountersTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/IdentifiedDecodeQueueTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/IdentifiedDecodeQueueCancelTest.cpp)
rk_add_tests(DecodeQueueInternalTests LABELS decode-queues INTERNAL SOURCES
  ${CMAKE_CURRENT_LIST_DIR}/DecodeQueueInternalsTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/DecodeQueueModelTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/DecodeQueueTimesTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/IdentifiedDecodeQueueLocksTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/IdentifiedDecodeQueueModelTest.cpp)
rk_add_tests(DecodeQueueAllocationTests LABELS decode-queues INTERNAL SOURCES
  ${CMAKE_CURRENT_LIST_DIR}/IdentifiedDecodeQueueAllocationTest.cpp)
rk_add_tests(DecodeQueueStressTests LABELS decode-queues stress SOURCES
  ${CMAKE_CURRENT_LIST_DIR}/DecodeQueueStressTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/IdentifiedDecodeQueueStressTest.cpp)
