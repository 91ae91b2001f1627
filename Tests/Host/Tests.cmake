if(TARGET rkhost)
  set(here ${CMAKE_CURRENT_LIST_DIR})
  rk_add_tests(ImageImporterTests LABELS host LIBRARIES ${CMAKE_DL_LIBS}
    SOURCES ${here}/ImageImporterTest.cpp)
  # AnalysisStoreTest comes last: it starts the disk cache manager, and a child process of a later test
  # would inherit that without its threads.
  rk_add_tests(HostPartsTests LABELS host LIBRARIES rkhost_parts ${CMAKE_DL_LIBS}
    SOURCES ${here}/CacheManageCommandTest.cpp ${here}/CacheManageOptionsTest.cpp
            ${here}/ChecksumTest.cpp ${here}/CommandLineTest.cpp
            ${here}/EventLoopTest.cpp ${here}/FilePoolTest.cpp
            ${here}/FrameAnalysisTest.cpp ${here}/FrameArrivalsTest.cpp ${here}/ItemReadTest.cpp
            ${here}/FrameRequestTest.cpp ${here}/MonitorChannelTest.cpp ${here}/OptionsTest.cpp
            ${here}/PlayerTest.cpp ${here}/ProgressTest.cpp ${here}/ReportScreenTest.cpp ${here}/ScrubOrderTest.cpp ${here}/SequenceTest.cpp
            ${here}/SummaryTest.cpp ${here}/SweepTextTest.cpp ${here}/AnalysisStoreTest.cpp)
  rk_add_tests(RkhostTests LABELS host LIBRARIES ${CMAKE_DL_LIBS}
    SOURCES ${here}/RkhostTest.cpp ${here}/RkhostMemoryTest.cpp ${here}/RkhostConvertTest.cpp ${here}/RkhostCacheManageTest.cpp ${here}/RkhostScrubTest.cpp
            ${here}/RkhostAnalysisTest.cpp ${here}/RkhostCacheItemsTest.cpp ${here}/RkhostCurveTest.cpp
            ${here}/RkhostVolumesTest.cpp ${here}/RkhostVRTest.cpp ${here}/RkhostWatchTest.cpp ${here}/DemoScriptTest.cpp)
  foreach(tests IN ITEMS ImageImporterTests HostPartsTests RkhostTests)
    add_dependencies(${tests} rkhost ImageImporter)
    target_include_directories(${tests} PRIVATE ${PROJECT_SOURCE_DIR}/Host)
    target_compile_definitions(${tests} PRIVATE
      RKHOST_TEST_DATA="${here}/Data"
      RKHOST_TEST_IMPORTER="$<TARGET_FILE:ImageImporter>"
      RKHOST_TEST_DEMO="${PROJECT_SOURCE_DIR}/Host/demo.sh"
      RKHOST_TEST_PROGRAM="$<TARGET_FILE:rkhost>")
  endforeach()
endif()
