rk_add_tests(volumes_tests LABELS volumes SOURCES
  ${CMAKE_CURRENT_LIST_DIR}/KnownVolumesTest.cpp)
rk_add_tests(volumes_internal_tests LABELS volumes INTERNAL SOURCES
  ${CMAKE_CURRENT_LIST_DIR}/DiskArbitrationBrokerTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/VolumeLookUpTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/VolumeUtilitiesTest.cpp)
rk_add_tests(volumes_stress_tests LABELS volumes stress INTERNAL SOURCES
  ${CMAKE_CURRENT_LIST_DIR}/VolumesStressTest.cpp)
rk_add_tests(volumes_real_tests LABELS volumes real INTERNAL SOURCES
  ${CMAKE_CURRENT_LIST_DIR}/MountedKnownVolumesTest.cpp)
