target_sources(RiverKit PRIVATE
  ${CMAKE_CURRENT_LIST_DIR}/RegistryFile.cpp
  ${CMAKE_CURRENT_LIST_DIR}/RegistryKey.cpp
  ${CMAKE_CURRENT_LIST_DIR}/RegistryStore.cpp)
