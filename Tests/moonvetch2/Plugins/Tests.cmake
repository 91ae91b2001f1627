# The examples of the documentation, by lists of their own: the package that they look for is this build.
set(here ${CMAKE_CURRENT_LIST_DIR})
set(plugins_folder ${CMAKE_CURRENT_BINARY_DIR}/Plugins)
file(WRITE ${CMAKE_FIND_PACKAGE_REDIRECTS_DIR}/RiverKitConfig.cmake "")
add_subdirectory(${PROJECT_SOURCE_DIR}/Docs/Examples/Plugins ${plugins_folder})
set(plugin_targets Template SuiteProvider SuiteUser ForeignAdapter)

# What else a folder may hold.
foreach(sample IN ITEMS Declared SymbolOnly Damaged DefaultEntry Garbage)
  riverkit_add_plugin(NAME ${sample} SOURCES ${here}/${sample}.c OUTPUT_DIRECTORY ${plugins_folder})
  list(APPEND plugin_targets ${sample})
endforeach()
foreach(sample IN ITEMS DeclaredInCpp Throws)
  riverkit_add_plugin(NAME ${sample} SOURCES ${here}/${sample}.cpp OUTPUT_DIRECTORY ${plugins_folder})
  list(APPEND plugin_targets ${sample})
endforeach()
riverkit_add_plugin(NAME TwoInOne BUNDLE SOURCES ${here}/TwoInOne.c OUTPUT_DIRECTORY ${plugins_folder})
riverkit_add_plugin(NAME WithFile BUNDLE SOURCES ${here}/TwoInOne.c PROPERTIES ${here}/Listed.mvproperties
                    OUTPUT_DIRECTORY ${plugins_folder})
list(APPEND plugin_targets TwoInOne WithFile)

add_library(rk_plugin_samples INTERFACE)
target_compile_definitions(rk_plugin_samples INTERFACE RK_TEST_PLUGINS="${plugins_folder}")
target_include_directories(rk_plugin_samples INTERFACE ${PROJECT_SOURCE_DIR}/Docs/Examples/Plugins)
foreach(target IN LISTS plugin_targets)
  set_target_properties(${target} PROPERTIES C_STANDARD 99 C_EXTENSIONS OFF CXX_STANDARD 17)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Werror)
  add_dependencies(rk_plugin_samples ${target})
endforeach()

rk_add_tests(PluginFilesTests LABELS plugins LIBRARIES rk_plugin_samples rk_code_samples SOURCES
  ${here}/ExamplesTest.cpp ${here}/PluginFilesTest.cpp)
