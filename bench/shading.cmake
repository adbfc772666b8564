# TraceSample per second in a small room with an area light and Monte Carlo radiosity.
ombrel_bench(shading_bench
  SOURCES ${CMAKE_CURRENT_LIST_DIR}/shading_bench.cpp
  LIBS ombrel_test_shading_world)
