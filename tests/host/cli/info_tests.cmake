# Tests of `ombrel info`: they run the built program on written and corpus files.
ombrel_test(ombrel_info_tests
  SOURCES ${CMAKE_CURRENT_LIST_DIR}/info_command_test.cpp
  LIBS host_formats host_scene ombrel_test_process
  LABELS host)
target_compile_definitions(ombrel_info_tests PRIVATE OMBREL_PROGRAM="$<TARGET_FILE:ombrel>")
add_dependencies(ombrel_info_tests ombrel)
