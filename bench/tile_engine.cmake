# Tile engine throughput: cells per second with a trivial evaluator.
ombrel_bench(tile_engine_bench SOURCES ${CMAKE_CURRENT_LIST_DIR}/tile_engine_bench.cpp LIBS ombrel_viewer_core)
