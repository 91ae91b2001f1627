target_sources(RiverKit PRIVATE
  ${CMAKE_CURRENT_LIST_DIR}/Message.cpp
  ${CMAKE_CURRENT_LIST_DIR}/Station.cpp
  ${CMAKE_CURRENT_LIST_DIR}/StationRegistry.cpp
  ${CMAKE_CURRENT_LIST_DIR}/PostedMessages.cpp
  ${CMAKE_CURRENT_LIST_DIR}/Messaging.cpp)
