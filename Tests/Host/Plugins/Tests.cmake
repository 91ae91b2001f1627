# Plug-ins for rkhost to bear, from one source.
if(TARGET rkhost)
  set(rkhost_samples ${CMAKE_CURRENT_BINARY_DIR}/RkhostPlugins)
  function(rk_add_sample_plugin name)
    riverkit_add_plugin(NAME Sample${name} OUTPUT_DIRECTORY ${rkhost_samples}
                        SOURCES ${CMAKE_CURRENT_FUNCTION_LIST_DIR}/Sample.cpp)
    target_link_libraries(Sample${name} PRIVATE rk_options)
    target_compile_definitions(Sample${name} PRIVATE SAMPLE_NAME="${name}" ${ARGN})
    set_property(GLOBAL APPEND PROPERTY RKHOST_SAMPLES Sample${name})
  endfunction()
  rk_add_sample_plugin(Good)
  rk_add_sample_plugin(Adapter "SAMPLE_PROPERTY=MV_PLUGIN_ADAPTER(2)")
  rk_add_sample_plugin(Early "SAMPLE_PROPERTY=MV_PLUGIN_STARTS_EARLY")
  rk_add_sample_plugin(Answers "SAMPLE_PROPERTY=MV_PLUGIN_CAPABILITIES(kMVCapability_AnswersProperties)")
  rk_add_sample_plugin(Exports "SAMPLE_PROPERTY=MV_PLUGIN_EXPORTS(MV_EXPORT(\"Sample Suite\", 7))"
                       "SAMPLE_ANSWER=AddSuite(inMessage)")
  rk_add_sample_plugin(Needs "SAMPLE_PROPERTY=MV_PLUGIN_STARTS_EARLY" "SAMPLE_ANSWER=NeedSuite(inMessage)")
  rk_add_sample_plugin(NeedsMissing "SAMPLE_ANSWER=NeedMissingSuite(inMessage)")
  rk_add_sample_plugin(Broken "SAMPLE_ANSWER=0x426F6F6D")
  rk_add_sample_plugin(NoPlugin SAMPLE_NO_PLUGIN)
  rk_add_sample_plugin(CrashesOnLoad "SAMPLE_ON_LOAD=Crash()")
  rk_add_sample_plugin(HangsOnLoad "SAMPLE_ON_LOAD=Hang()")
  rk_add_sample_plugin(ExitsOnLoad "SAMPLE_ON_LOAD=_exit(0)")
  rk_add_sample_plugin(ClosesOnLoad "SAMPLE_ON_LOAD=CloseDescriptors()")
  rk_add_sample_plugin(ForksOnLoad "SAMPLE_ON_LOAD=LeaveProcess()")
  rk_add_sample_plugin(CopiesOnLoad "SAMPLE_ON_LOAD=(void)fork()")
  rk_add_sample_plugin(CrashesOnStartup "SAMPLE_ON_STARTUP=Crash()")
  rk_add_sample_plugin(ScribblesOnStartup "SAMPLE_ON_STARTUP=ScribbleReport()")
  rk_add_sample_plugin(FloodsOnStartup "SAMPLE_ON_STARTUP=FloodReport()")
  rk_add_sample_plugin(HangsOnStartup "SAMPLE_ON_STARTUP=Hang()")
  rk_add_sample_plugin(ClosesOnStartup "SAMPLE_ON_STARTUP=CloseDescriptors()")

  rk_add_tests(RkhostPluginsTests LABELS host plugins LIBRARIES rkhost_parts ${CMAKE_DL_LIBS}
    SOURCES ${CMAKE_CURRENT_LIST_DIR}/RkhostPluginsTest.cpp ${CMAKE_CURRENT_LIST_DIR}/PluginQuarantineTest.cpp
            ${CMAKE_CURRENT_LIST_DIR}/PluginCandidatesTest.cpp)
  get_property(samples GLOBAL PROPERTY RKHOST_SAMPLES)
  add_dependencies(RkhostPluginsTests rkhost ${samples})
  target_include_directories(RkhostPluginsTests PRIVATE ${PROJECT_SOURCE_DIR}/Host ${PROJECT_SOURCE_DIR}/Tests/Host)
  target_compile_definitions(RkhostPluginsTests PRIVATE
    RKHOST_TEST_DATA="${PROJECT_SOURCE_DIR}/Tests/Host/Data" RKHOST_TEST_SAMPLES="${rkhost_samples}"
    RKHOST_TEST_IMPORTER="$<TARGET_FILE:ImageImporter>" RKHOST_TEST_PROGRAM="$<TARGET_FILE:rkhost>")
endif()
