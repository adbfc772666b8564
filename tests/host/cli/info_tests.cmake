# Tests of `ombrel info`: they run the built program on written and corpus files.
file(GLOB info_tests CONFIGURE_DEPENDS ${CMAKE_CURRENT_LIST_DIR}/info_*_test.cpp)
if(info_tests AND TARGET ombrel AND TARGET host_services)
  ombrel_test(ombrel_info_tests SOURCES ${info_tests}
              LIBS host_formats host_scene ombrel_test_process LABELS host)
  target_compile_definitions(ombrel_info_tests PRIVATE OMBREL_PROGRAM="$<TARGET_FILE:ombrel>")
  add_dependencies(ombrel_info_tests ombrel)
endif()
