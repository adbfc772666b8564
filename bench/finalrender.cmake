# Samples per second of the frame loop, one render thread, on the demo scene when it is there
# and on a room built in code otherwise.
ombrel_bench(finalrender_bench
  SOURCES ${CMAKE_CURRENT_LIST_DIR}/finalrender_bench.cpp
  LIBS ombrel_finalrender host_services host_formats host_scene)
target_compile_definitions(finalrender_bench PRIVATE OMBREL_SOURCE_DIR="${PROJECT_SOURCE_DIR}")
