rk_add_tests(PlatformWindowManagerTests LABELS sdk SOURCES
  ${CMAKE_CURRENT_LIST_DIR}/PlatformWindowManagerTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/SharedViewsTest.cpp)
target_include_directories(PlatformWindowManagerTests PRIVATE ${PROJECT_SOURCE_DIR})
rk_add_tests(PlatformWindowManagerStressTests LABELS sdk stress SOURCES
  ${CMAKE_CURRENT_LIST_DIR}/PlatformWindowManagerStressTest.cpp)

# The example for GObjects is held where GLib is there; nothing else of the project knows it.
find_package(PkgConfig QUIET)
if(PkgConfig_FOUND)
  pkg_check_modules(RK_TEST_GOBJECT QUIET IMPORTED_TARGET gobject-2.0)
endif()
if(TARGET PkgConfig::RK_TEST_GOBJECT)
  rk_add_tests(GObjectViewsTests LABELS sdk LIBRARIES PkgConfig::RK_TEST_GOBJECT SOURCES
    ${CMAKE_CURRENT_LIST_DIR}/GObjectViewsTest.cpp)
  target_include_directories(GObjectViewsTests PRIVATE ${PROJECT_SOURCE_DIR})
endif()
