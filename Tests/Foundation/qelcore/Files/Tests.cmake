rk_add_tests(rk_qelcore_files_tests LABELS foundation SOURCES
  ${CMAKE_CURRENT_LIST_DIR}/CommonDirsTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/DirTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/FileTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/FileUtilsTest.cpp)
rk_add_tests(rk_qelcore_files_on_fakes_tests INTERNAL LABELS foundation SOURCES
  ${CMAKE_CURRENT_LIST_DIR}/FilesOnFakesTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/FolderTreeOnFakesTest.cpp)
rk_add_tests(rk_big_folder_tests INTERNAL LABELS foundation stress SOURCES
  ${CMAKE_CURRENT_LIST_DIR}/BigFolderTest.cpp)
rk_add_tests(rk_hostile_tree_tests LABELS foundation real SOURCES
  ${CMAKE_CURRENT_LIST_DIR}/HostileTreeTest.cpp)
