# The units that exist so far, "Src/MediaType.cpp:Src/PixelFormat.cpp:..."
get_target_property(rk_library_sources RiverKit SOURCES)
list(FILTER rk_library_sources INCLUDE REGEX "(^|/)Src/")
list(JOIN rk_library_sources ":" rk_library_sources)

rk_add_tests(frame_tests LABELS frame SOURCES
  ${CMAKE_CURRENT_LIST_DIR}/ConsoleCommandsTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/ConstantsTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/FontServerStateTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/MathConstantsTest.cpp)

rk_add_tests(frame_internal_tests INTERNAL LABELS frame SOURCES
  ${CMAKE_CURRENT_LIST_DIR}/InitializerTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/LoadOrderTest.cpp)
if(TARGET frame_internal_tests)
  set_source_files_properties(${CMAKE_CURRENT_LIST_DIR}/LoadOrderTest.cpp PROPERTIES
    COMPILE_DEFINITIONS "RK_LIBRARY_SOURCES=\"${rk_library_sources}\"")
endif()

rk_add_tests(frame_stress_tests LABELS frame stress SOURCES
  ${CMAKE_CURRENT_LIST_DIR}/InitializerStressTest.cpp)
