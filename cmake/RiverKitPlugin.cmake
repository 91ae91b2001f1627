# riverkit_add_plugin(NAME <target> SOURCES <file>... [BUNDLE] [PROPERTIES <file>...] [OUTPUT_DIRECTORY <folder>])
#
# A plug-in of RiverKit's plug-in host, as a shared object <target>.so, or with BUNDLE as a folder:
#
#   <target>.plugin/Contents/Linux/<target>.so
#   <target>.plugin/Contents/Resources/<name>.mvproperties
#
# The property lists of a bundle are the files given, each one plug-in of the same code; without any it is what
# MV_PLUGIN_PROPERTIES has put into the code. Sources are C or C++. Nothing but the entry and what is marked MV_API is
# visible outside, names within the plug-in stay its own, and a reference that nothing resolves is an error of the
# link. The target's property RIVERKIT_PLUGIN holds what a host is given: the path of the file or of the folder.
function(riverkit_add_plugin)
  cmake_parse_arguments(arg "BUNDLE" "NAME;OUTPUT_DIRECTORY" "SOURCES;PROPERTIES" ${ARGN})
  if(NOT arg_NAME OR NOT arg_SOURCES OR arg_UNPARSED_ARGUMENTS)
    message(FATAL_ERROR "riverkit_add_plugin: give NAME and SOURCES, and of the rest only BUNDLE, PROPERTIES and "
                        "OUTPUT_DIRECTORY: ${ARGN}")
  endif()
  if(arg_PROPERTIES AND NOT arg_BUNDLE)
    message(FATAL_ERROR "riverkit_add_plugin: files of PROPERTIES lie in a BUNDLE; a plain file carries its own, by "
                        "MV_PLUGIN_PROPERTIES")
  endif()
  if(NOT arg_OUTPUT_DIRECTORY)
    set(arg_OUTPUT_DIRECTORY "${CMAKE_LIBRARY_OUTPUT_DIRECTORY}")
  endif()
  get_filename_component(folder "${arg_OUTPUT_DIRECTORY}" ABSOLUTE BASE_DIR ${CMAKE_CURRENT_BINARY_DIR})

  add_library(${arg_NAME} MODULE ${arg_SOURCES})
  # The headers alone: what the library offers comes through suites, so nothing is linked.
  target_include_directories(${arg_NAME} PRIVATE
    $<TARGET_PROPERTY:RiverKit::RiverKit,INTERFACE_INCLUDE_DIRECTORIES>)
  set_target_properties(${arg_NAME} PROPERTIES
    PREFIX "" SUFFIX ".so"
    C_VISIBILITY_PRESET hidden CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON)
  target_link_options(${arg_NAME} PRIVATE -Wl,-Bsymbolic)
  # Where a sanitizer is at work its runtime is in the program.
  if(NOT RK_SANITIZE AND NOT "${CMAKE_C_FLAGS} ${CMAKE_CXX_FLAGS}" MATCHES "-fsanitize")
    target_link_options(${arg_NAME} PRIVATE -Wl,--no-undefined)
  endif()

  if(NOT arg_BUNDLE)
    set_target_properties(${arg_NAME} PROPERTIES
      LIBRARY_OUTPUT_DIRECTORY "${folder}" RIVERKIT_PLUGIN "${folder}/${arg_NAME}.so")
    return()
  endif()
  set(contents "${folder}/${arg_NAME}.plugin/Contents")
  set_target_properties(${arg_NAME} PROPERTIES
    LIBRARY_OUTPUT_DIRECTORY "${contents}/Linux" RIVERKIT_PLUGIN "${folder}/${arg_NAME}.plugin")
  add_custom_command(TARGET ${arg_NAME} POST_BUILD VERBATIM
    COMMAND ${CMAKE_COMMAND} -E rm -rf "${contents}/Resources"
    COMMAND ${CMAKE_COMMAND} -E make_directory "${contents}/Resources")
  foreach(file IN LISTS arg_PROPERTIES)
    get_filename_component(file "${file}" ABSOLUTE)
    get_filename_component(name "${file}" NAME_WE)
    add_custom_command(TARGET ${arg_NAME} POST_BUILD VERBATIM
      COMMAND ${CMAKE_COMMAND} -E copy "${file}" "${contents}/Resources/${name}.mvproperties")
    set_property(TARGET ${arg_NAME} APPEND PROPERTY LINK_DEPENDS "${file}")
  endforeach()
  # Without objcopy the host finds them in the code.
  if(NOT arg_PROPERTIES AND CMAKE_OBJCOPY)
    add_custom_command(TARGET ${arg_NAME} POST_BUILD VERBATIM
      COMMAND ${CMAKE_OBJCOPY} -O binary --only-section=mv_properties
              "$<TARGET_FILE:${arg_NAME}>" "${contents}/Resources/${arg_NAME}.mvproperties")
  endif()
endfunction()
