target_sources(RiverKit PRIVATE
  ${CMAKE_CURRENT_LIST_DIR}/CommonDirs.cpp
  ${CMAKE_CURRENT_LIST_DIR}/Dir.cpp
  ${CMAKE_CURRENT_LIST_DIR}/File.cpp
  ${CMAKE_CURRENT_LIST_DIR}/FileExceptions.cpp
  ${CMAKE_CURRENT_LIST_DIR}/FileIterator.cpp
  ${CMAKE_CURRENT_LIST_DIR}/FileUtils.cpp
  ${CMAKE_CURRENT_LIST_DIR}/MachineFigures.cpp
  ${CMAKE_CURRENT_LIST_DIR}/PathText.cpp
  ${CMAKE_CURRENT_LIST_DIR}/UTCTime.cpp)
