rk_add_tests(ErrorReportTests LABELS errors SOURCES
  ${CMAKE_CURRENT_LIST_DIR}/ErrorReportTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/ErrorReportLogTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/ErrorReportStackTraceTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/ErrorReportSummaryTest.cpp)
rk_add_tests(ErrorReportAllocationTests LABELS errors SOURCES
  ${CMAKE_CURRENT_LIST_DIR}/ErrorReportAllocationTest.cpp)
rk_add_tests(ErrorReportStressTests LABELS errors stress SOURCES
  ${CMAKE_CURRENT_LIST_DIR}/ErrorReportStressTest.cpp)
