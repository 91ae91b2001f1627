rk_add_tests(ModuleStressTesterTests LABELS sdk SOURCES
  ${CMAKE_CURRENT_LIST_DIR}/ModuleStressTesterTest.cpp)
