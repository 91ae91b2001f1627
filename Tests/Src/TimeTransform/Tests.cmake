find_package(rapidcheck REQUIRED)
rk_add_tests(time_transform_tests LABELS curves LIBRARIES rapidcheck SOURCES
  ${CMAKE_CURRENT_LIST_DIR}/TimeBlendTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/TimeTransformTest.cpp)
