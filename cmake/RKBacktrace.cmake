# libbacktrace, under the stack traces. It comes with gcc, in a folder that only gcc searches; with clang
# we ask a g++ beside it. It is linked in statically and hidden, so callers never need it.
# Sets RK_BACKTRACE_LIBRARY and RK_BACKTRACE_HEADER, which may be given instead.
if(NOT RK_BACKTRACE_LIBRARY OR NOT RK_BACKTRACE_HEADER)
  set(folders)
  foreach(compiler IN ITEMS ${CMAKE_CXX_COMPILER} g++-12 g++)
    execute_process(COMMAND ${compiler} -print-file-name=libbacktrace.a
      OUTPUT_VARIABLE archive OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET RESULT_VARIABLE failed)
    if(NOT failed AND IS_ABSOLUTE "${archive}")
      cmake_path(GET archive PARENT_PATH folder)
      list(APPEND folders ${folder})
    endif()
  endforeach()
  list(REMOVE_DUPLICATES folders)
  # Systems that package it by itself have it where everything else is.
  find_file(RK_BACKTRACE_LIBRARY libbacktrace.a HINTS ${folders} PATH_SUFFIXES lib lib64 DOC "Static libbacktrace, position-independent")
  find_file(RK_BACKTRACE_HEADER backtrace.h HINTS ${folders} PATH_SUFFIXES include DOC "Its header")
endif()
if(NOT RK_BACKTRACE_LIBRARY OR NOT RK_BACKTRACE_HEADER)
  message(FATAL_ERROR "libbacktrace.a and backtrace.h were not found. They come with gcc (Debian: libgcc-12-dev); "
    "or set RK_BACKTRACE_LIBRARY and RK_BACKTRACE_HEADER to their paths.")
endif()

# The header alone: its folder also holds gcc's own headers, which another compiler must not see.
configure_file(${RK_BACKTRACE_HEADER} ${PROJECT_BINARY_DIR}/libbacktrace/backtrace.h COPYONLY)
set_source_files_properties(${PROJECT_SOURCE_DIR}/Foundation/Platform/Src/Backtrace.cpp PROPERTIES
  INCLUDE_DIRECTORIES ${PROJECT_BINARY_DIR}/libbacktrace)
target_link_libraries(RiverKit PRIVATE ${RK_BACKTRACE_LIBRARY})
# Another copy in the process must not take the place of ours, nor ours of it.
target_link_options(RiverKit PRIVATE -Wl,--exclude-libs,libbacktrace.a)
# Its licence goes where its code goes.
install(FILES ${PROJECT_SOURCE_DIR}/packaging/libbacktrace-license.txt DESTINATION ${CMAKE_INSTALL_DOCDIR})
