# A preview of the demo scene in a 320 x 240 view, one engine thread: the first coarse picture,
# the first refined one, refinement samples per second, and the distance from a long final
# render after 1, 5 and 20 seconds.
ombrel_bench(preview_bench
  SOURCES ${CMAKE_CURRENT_LIST_DIR}/preview_bench.cpp
  LIBS ombrel_viewer ombrel_test_shading_world ombrel_test_preview_reference)
