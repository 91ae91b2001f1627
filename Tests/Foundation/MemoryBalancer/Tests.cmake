find_package(rapidcheck REQUIRED)
rk_add_tests(MemoryBalancerTests INTERNAL LABELS foundation LIBRARIES rapidcheck SOURCES
  ${CMAKE_CURRENT_LIST_DIR}/BalanceImageTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/DistributeTest.cpp)
rk_add_tests(MemoryBalancerRealTests INTERNAL LABELS foundation real SOURCES
  ${CMAKE_CURRENT_LIST_DIR}/MembersTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/SuiteSeatTest.cpp)
