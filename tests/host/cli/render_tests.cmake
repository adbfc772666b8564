# Tests of `ombrel render`: they run the built program and its module on small scenes that
# they write themselves.
file(GLOB render_tests CONFIGURE_DEPENDS ${CMAKE_CURRENT_LIST_DIR}/render_*_test.cpp)
if(render_tests AND TARGET ombrel AND TARGET host_services)
  ombrel_test(ombrel_render_tests SOURCES ${render_tests}
              LIBS host_services host_formats host_scene ombrel_test_process LABELS host)
  target_compile_definitions(ombrel_render_tests PRIVATE OMBREL_PROGRAM="$<TARGET_FILE:ombrel>")
  # A module that loads but has no batch render entry.
  if(TARGET fixture_module_good)
    target_compile_definitions(ombrel_render_tests PRIVATE
      OMBREL_MODULE_WITHOUT_BATCH="$<TARGET_FILE:fixture_module_good>")
    add_dependencies(ombrel_render_tests fixture_module_good)
  endif()
  add_dependencies(ombrel_render_tests ombrel ombrel_module)
endif()
