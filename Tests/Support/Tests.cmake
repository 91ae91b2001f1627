# The file system of FaultyMount.h is a program of its own: without libfuse3 3.12 its tests skip.
find_package(PkgConfig QUIET)
if(PkgConfig_FOUND)
  pkg_check_modules(RK_FUSE QUIET IMPORTED_TARGET fuse3>=3.12)
endif()
add_library(rk_faulty_mount_support INTERFACE)
if(RK_FUSE_FOUND)
  add_executable(rk_faulty_mount ${CMAKE_CURRENT_LIST_DIR}/FaultyMountDaemon.cpp)
  target_link_libraries(rk_faulty_mount PRIVATE PkgConfig::RK_FUSE Threads::Threads rk_options)
  add_dependencies(rk_faulty_mount_support rk_faulty_mount)
  target_compile_definitions(rk_faulty_mount_support INTERFACE
    RK_FAULTY_MOUNT_PROGRAM="$<TARGET_FILE:rk_faulty_mount>")
else()
  target_compile_definitions(rk_faulty_mount_support INTERFACE RK_FAULTY_MOUNT_PROGRAM="")
endif()

rk_add_tests(TestSupportTests LABELS real LIBRARIES rk_faulty_mount_support SOURCES
  ${CMAKE_CURRENT_LIST_DIR}/FaultyMountTest.cpp)
