# How our own targets are compiled. Nothing here reaches a caller: rk_options is linked privately and
# only while building.
add_library(rk_options INTERFACE)
target_compile_features(rk_options INTERFACE cxx_std_20)
target_compile_options(rk_options INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Woverloaded-virtual -Wundef -Werror
  $<$<CXX_COMPILER_ID:Clang>:-Wthread-safety>)
target_compile_definitions(rk_options INTERFACE BOOST_BIND_GLOBAL_PLACEHOLDERS)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

if(RK_SANITIZE)
  add_compile_options(-fsanitize=${RK_SANITIZE} -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${RK_SANITIZE})
  if(RK_SANITIZE MATCHES "undefined")
    add_compile_options(-fno-sanitize-recover=all)
  endif()
endif()

find_program(RK_CCACHE ccache)
if(RK_CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
  set(CMAKE_CXX_COMPILER_LAUNCHER ${RK_CCACHE})
endif()
