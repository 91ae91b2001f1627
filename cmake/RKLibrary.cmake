# What libRiverKit is made of besides its sources: headers, visibility, version, installation.
set(RK_FOUNDATION_LIBRARIES qelcore qelmediatypes ZOR ZORMessaging MemoryBalancer TQM)

file(GLOB_RECURSE RK_API_HEADERS CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/API/Inc/*.h)
target_sources(RiverKit PUBLIC FILE_SET api TYPE HEADERS BASE_DIRS ${PROJECT_SOURCE_DIR}/API/Inc
               FILES ${RK_API_HEADERS})
set(RK_PUBLIC_HEADERS ${RK_API_HEADERS})
set(RK_FOUNDATION_DIRS)
set(RK_FOUNDATION_HEADERS)
foreach(library IN LISTS RK_FOUNDATION_LIBRARIES)
  file(GLOB_RECURSE headers CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/Foundation/${library}/Inc/*.h)
  list(APPEND RK_FOUNDATION_DIRS ${PROJECT_SOURCE_DIR}/Foundation/${library}/Inc)
  list(APPEND RK_FOUNDATION_HEADERS ${headers})
endforeach()
list(APPEND RK_PUBLIC_HEADERS ${RK_FOUNDATION_HEADERS})
target_sources(RiverKit PUBLIC FILE_SET foundation TYPE HEADERS BASE_DIRS ${RK_FOUNDATION_DIRS}
               FILES ${RK_FOUNDATION_HEADERS})

# Clients write <RiverKit/RKMediaManager.h>, installed or not.
file(MAKE_DIRECTORY ${PROJECT_BINARY_DIR}/include)
file(CREATE_LINK ${PROJECT_SOURCE_DIR}/API/Inc ${PROJECT_BINARY_DIR}/include/RiverKit SYMBOLIC)

target_include_directories(RiverKit
  PUBLIC $<BUILD_INTERFACE:${PROJECT_BINARY_DIR}/include>
         $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>
         $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/RiverKit/Foundation>
  PRIVATE ${PROJECT_SOURCE_DIR}/Inc ${PROJECT_SOURCE_DIR}/Foundation/Platform/Inc
          ${PROJECT_SOURCE_DIR}/API/Inc ${PROJECT_SOURCE_DIR}/moonvetch2/sources)
target_compile_features(RiverKit PUBLIC cxx_std_17)
target_link_libraries(RiverKit PUBLIC Boost::headers PRIVATE Threads::Threads $<BUILD_INTERFACE:rk_options>)
if(NOT RK_SANITIZE) # the runtime of a sanitizer is in the program
  target_link_options(RiverKit PRIVATE -Wl,--no-undefined)
endif()
set_target_properties(RiverKit PROPERTIES
  VERSION ${PROJECT_VERSION}
  SOVERSION ${PROJECT_VERSION_MAJOR}
  INTERPROCEDURAL_OPTIMIZATION OFF
  UNITY_BUILD OFF)
if(NOT RK_OPEN_INTERNALS)
  set_target_properties(RiverKit PROPERTIES CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON)
endif()

# Each public header alone, as C++17: what a caller may include must stand by itself.
set(lines)
foreach(header IN LISTS RK_PUBLIC_HEADERS)
  string(MAKE_C_IDENTIFIER ${header} name)
  set(unit ${PROJECT_BINARY_DIR}/headers-alone/${name}.cpp)
  file(CONFIGURE OUTPUT ${unit} CONTENT "#include \"${header}\"\n#include \"${header}\"\n" @ONLY)
  list(APPEND lines ${unit})
endforeach()
add_library(rk_headers_alone OBJECT EXCLUDE_FROM_ALL ${lines})
target_link_libraries(rk_headers_alone PRIVATE RiverKit)
set_target_properties(rk_headers_alone PROPERTIES CXX_STANDARD 17)
target_compile_options(rk_headers_alone PRIVATE -fsyntax-only -Wall -Wextra -Wpedantic -Wshadow -Werror)
set_target_properties(rk_headers_alone PROPERTIES CXX_COMPILER_LAUNCHER "")

include(CMakePackageConfigHelpers)
install(TARGETS RiverKit EXPORT RiverKitTargets
        FILE_SET api DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/RiverKit
        FILE_SET foundation DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/RiverKit/Foundation)
install(EXPORT RiverKitTargets NAMESPACE RiverKit:: DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/RiverKit)
configure_package_config_file(${PROJECT_SOURCE_DIR}/packaging/RiverKitConfig.cmake.in
  ${PROJECT_BINARY_DIR}/RiverKitConfig.cmake
  INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/RiverKit)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/RiverKitConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/RiverKitConfig.cmake ${PROJECT_BINARY_DIR}/RiverKitConfigVersion.cmake
              ${PROJECT_SOURCE_DIR}/cmake/RiverKitPlugin.cmake
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/RiverKit)
configure_file(${PROJECT_SOURCE_DIR}/packaging/riverkit.pc.in ${PROJECT_BINARY_DIR}/riverkit.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/riverkit.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
