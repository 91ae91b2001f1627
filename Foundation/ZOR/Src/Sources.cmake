target_sources(RiverKit PRIVATE
  ${CMAKE_CURRENT_LIST_DIR}/Foundation.cpp
  ${CMAKE_CURRENT_LIST_DIR}/ObjectModel.cpp)
