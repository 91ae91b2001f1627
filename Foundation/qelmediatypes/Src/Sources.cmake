target_sources(RiverKit PRIVATE
  ${CMAKE_CURRENT_LIST_DIR}/AudioChannelDescription.cpp
  ${CMAKE_CURRENT_LIST_DIR}/PixelAspectGeometry.cpp
  ${CMAKE_CURRENT_LIST_DIR}/PixelAspectRatio.cpp
  ${CMAKE_CURRENT_LIST_DIR}/PixelFormat.cpp
  ${CMAKE_CURRENT_LIST_DIR}/TickTime.cpp)
