# TraceSample per second in a small room with an area light and Monte Carlo radiosity.
ombrel_bench(shading_bench
  SOURCES ${CMAKE_CURRENT_LIST_DIR}/shading_bench.cpp ${PROJECT_SOURCE_DIR}/tests/shading/shading_world.cpp
  LIBS ombrel_shading ombrel_rayengine ombrel_capture ombrel_runtime host_services host_formats host_scene)
target_include_directories(shading_bench PRIVATE ${PROJECT_SOURCE_DIR}/tests/shading)
