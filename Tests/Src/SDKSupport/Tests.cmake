rk_add_tests(sdk_tests LABELS sdk SOURCES
  ${CMAKE_CURRENT_LIST_DIR}/AudioChannelTypeTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/AudioConversionTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/CutlistTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/FrameFormatConversionTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/MediaUIUtilitiesTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/PixelAspectRectTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/PixelFormatConversionTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/TypeConversionTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/ValidationTest.cpp)
