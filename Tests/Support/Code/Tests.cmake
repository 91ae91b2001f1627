# Small shared objects for tests of what loads code: RK_TEST_CODE is the folder they are built in.
set(here ${CMAKE_CURRENT_LIST_DIR})
set(code_folder ${CMAKE_CURRENT_BINARY_DIR}/Code)
add_library(rk_code_samples INTERFACE)
target_compile_definitions(rk_code_samples INTERFACE RK_TEST_CODE="${code_folder}")
add_library(rk_code_dependency SHARED ${here}/Dependency.c)
foreach(sample IN ITEMS MainOnly PluginMain NoEntry Unresolved Dependent)
  add_library(rk_code_${sample} MODULE ${here}/${sample}.c)
  set_target_properties(rk_code_${sample} PROPERTIES PREFIX "" OUTPUT_NAME ${sample})
  add_dependencies(rk_code_samples rk_code_${sample})
endforeach()
# Beside it, so that a copy elsewhere misses it.
set_target_properties(rk_code_Dependent PROPERTIES BUILD_RPATH "$ORIGIN" BUILD_RPATH_USE_ORIGIN ON)
target_link_libraries(rk_code_Dependent PRIVATE rk_code_dependency)
set_target_properties(rk_code_dependency rk_code_MainOnly rk_code_PluginMain rk_code_NoEntry rk_code_Unresolved
  rk_code_Dependent PROPERTIES LIBRARY_OUTPUT_DIRECTORY ${code_folder})
