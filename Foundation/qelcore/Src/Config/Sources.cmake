target_sources(RiverKit PRIVATE
  ${CMAKE_CURRENT_LIST_DIR}/ClientName.cpp
  ${CMAKE_CURRENT_LIST_DIR}/ErrorManager.cpp
  ${CMAKE_CURRENT_LIST_DIR}/ErrorText.cpp
  ${CMAKE_CURRENT_LIST_DIR}/Localizer.cpp
  ${CMAKE_CURRENT_LIST_DIR}/StringTable.cpp)
