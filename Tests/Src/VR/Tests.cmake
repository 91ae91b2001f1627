rk_add_tests(VRConfigurationTests LABELS vr SOURCES
  ${CMAKE_CURRENT_LIST_DIR}/VRConfigurationTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/VRNamesTest.cpp)
rk_add_tests(LargeVRConfigurationTests LABELS vr stress SOURCES
  ${CMAKE_CURRENT_LIST_DIR}/LargeVRConfigurationTest.cpp)
