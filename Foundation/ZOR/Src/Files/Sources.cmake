target_sources(RiverKit PRIVATE
  ${CMAKE_CURRENT_LIST_DIR}/BufferedReader.cpp
  ${CMAKE_CURRENT_LIST_DIR}/DiskUtils.cpp
  ${CMAKE_CURRENT_LIST_DIR}/File.cpp
  ${CMAKE_CURRENT_LIST_DIR}/FileError.cpp
  ${CMAKE_CURRENT_LIST_DIR}/PathUtils.cpp)
