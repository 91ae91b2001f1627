target_sources(RiverKit PRIVATE
  ${CMAKE_CURRENT_LIST_DIR}/AudioChannelDescription.cpp
  ${CMAKE_CURRENT_LIST_DIR}/PixelAspectRatio.cpp
  ${CMAKE_CURRENT_LIST_DIR}/TickTime.cpp)
