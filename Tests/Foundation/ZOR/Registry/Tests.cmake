rk_add_tests(zor_registry_tests LABELS foundation INTERNAL SOURCES
  ${CMAKE_CURRENT_LIST_DIR}/RegistryFileTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/RegistryKeyTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/RegistryOnDiskTest.cpp)
