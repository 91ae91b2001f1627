if(TARGET ImageImporter)
  set(here ${CMAKE_CURRENT_LIST_DIR})
  rk_add_tests(ImageImporterTests LABELS host LIBRARIES ${CMAKE_DL_LIBS}
    SOURCES ${here}/ImageImporterTest.cpp)
  add_dependencies(ImageImporterTests ImageImporter)
  target_include_directories(ImageImporterTests PRIVATE ${PROJECT_SOURCE_DIR}/Host)
  target_compile_definitions(ImageImporterTests PRIVATE
    RKHOST_TEST_DATA="${here}/Data" RKHOST_TEST_IMPORTER="$<TARGET_FILE:ImageImporter>")
endif()
