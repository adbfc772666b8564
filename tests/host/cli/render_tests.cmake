# Tests of `ombrel render`: they run the built program and its module on small scenes that
# they write themselves.
ombrel_test(ombrel_render_tests
  SOURCES
    ${CMAKE_CURRENT_LIST_DIR}/render_clipmap_test.cpp
    ${CMAKE_CURRENT_LIST_DIR}/render_command_test.cpp
    ${CMAKE_CURRENT_LIST_DIR}/render_kill_test.cpp
    ${CMAKE_CURRENT_LIST_DIR}/render_object_test.cpp
    ${CMAKE_CURRENT_LIST_DIR}/render_question_test.cpp
    ${CMAKE_CURRENT_LIST_DIR}/render_refine_test.cpp
  LIBS host_services host_formats host_scene ombrel_test_process ombrel_test_scenes
  LABELS host
  HEADLESS)
target_compile_definitions(ombrel_render_tests PRIVATE OMBREL_PROGRAM="$<TARGET_FILE:ombrel>"
  # A module that loads but has no batch render entry.
  OMBREL_MODULE_WITHOUT_BATCH="$<TARGET_FILE:fixture_module_good>")
add_dependencies(ombrel_render_tests ombrel ombrel_module fixture_module_good)
