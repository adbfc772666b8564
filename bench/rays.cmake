# The ray engine against a peer ray tracer: rays per second, grid build time and memory, and
# the cost of a scene update. The peer is linked to this program only, never to the module.
find_package(embree 3 CONFIG REQUIRED)
ombrel_bench(ombrel-raybench
  SOURCES ${CMAKE_CURRENT_LIST_DIR}/ray_bench.cpp ${CMAKE_CURRENT_LIST_DIR}/ray_world.cpp
          ${CMAKE_CURRENT_LIST_DIR}/ray_peer.cpp
  LIBS ombrel_rayengine ombrel_capture ombrel_runtime host_services host_formats host_scene embree)
target_include_directories(ombrel-raybench PRIVATE ${CMAKE_CURRENT_LIST_DIR})
# Where the scanned meshes are looked for unless --data says otherwise.
get_filename_component(ray_bench_data ${PROJECT_SOURCE_DIR}/../shared/testdata ABSOLUTE)
target_compile_definitions(ombrel-raybench PRIVATE OMBREL_CORPUS_DIR="${ray_bench_data}")
