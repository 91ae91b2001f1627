find_package(rapidcheck REQUIRED)
set(here ${CMAKE_CURRENT_LIST_DIR})

# The library's source once more, for a processor with fused operations: with the options that the
# library's own unit has, read from there, and with the fusing that these forbid.
get_source_file_property(rk_bezier_options ${PROJECT_SOURCE_DIR}/Src/Keyframe/BezierCore.cpp
  TARGET_DIRECTORY RiverKit COMPILE_OPTIONS)
function(rk_add_fused_bezier name)
  add_library(rk_bezier_${name} OBJECT ${here}/FusedBezier.cpp)
  target_include_directories(rk_bezier_${name} PRIVATE ${PROJECT_SOURCE_DIR} ${PROJECT_SOURCE_DIR}/Inc)
  target_link_libraries(rk_bezier_${name} PRIVATE RiverKit rk_options)
  target_compile_definitions(rk_bezier_${name} PRIVATE RK_TEST_FUSED=${name})
  target_compile_options(rk_bezier_${name} PRIVATE -O2 -mfma -ffp-contract=fast ${ARGN})
endfunction()
rk_add_fused_bezier(WithTheLibrarysOptions ${rk_bezier_options})
rk_add_fused_bezier(WithFusing)

rk_add_tests(keyframe_tests LABELS curves
  LIBRARIES rapidcheck rk_bezier_WithTheLibrarysOptions rk_bezier_WithFusing SOURCES
  ${here}/BezierBatchTest.cpp ${here}/BezierCoreTest.cpp ${here}/BezierPropertiesTest.cpp
  ${here}/BezierRootsTest.cpp ${here}/ReproducibleTest.cpp ${here}/TemporalEaseTest.cpp
  ${here}/VelocityCacheTest.cpp)
rk_add_tests(curves_allocation_tests LABELS curves SOURCES ${here}/CurvesAllocationTest.cpp)
rk_add_tests(curves_stress_tests LABELS curves stress SOURCES ${here}/CurvesStressTest.cpp)
