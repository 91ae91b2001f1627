rk_add_tests(zor_object_tests LABELS foundation SOURCES
  ${CMAKE_CURRENT_LIST_DIR}/FoundationTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/ObjectModelTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/SingletonSupportTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/WeakReferenceTest.cpp)

rk_add_tests(zor_object_stress_tests LABELS foundation stress SOURCES
  ${CMAKE_CURRENT_LIST_DIR}/ObjectModelStressTest.cpp)
