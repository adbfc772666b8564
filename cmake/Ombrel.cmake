# Shared build rules. Every source folder is one static library, and a library links only
# to the ones built before it, so a dependency that points upward fails to link.

add_compile_options(-Wall -Wextra -Wno-unused-parameter)

if(OMBREL_SANITIZE STREQUAL "thread")
  add_compile_options(-fsanitize=thread -fno-omit-frame-pointer)
  add_link_options(-fsanitize=thread)
elseif(OMBREL_SANITIZE STREQUAL "address")
  add_compile_options(-fsanitize=address,undefined -fno-omit-frame-pointer -fno-sanitize-recover=undefined)
  add_link_options(-fsanitize=address,undefined)
elseif(OMBREL_SANITIZE STREQUAL "fuzzer")
  # libFuzzer comes with clang only; the fuzz targets add -fsanitize=fuzzer at their link.
  if(NOT CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
    message(FATAL_ERROR "The fuzzing build needs clang: -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++")
  endif()
  add_compile_options(-fsanitize=fuzzer-no-link,address,undefined -fno-omit-frame-pointer
                      -fno-sanitize-recover=undefined)
  add_link_options(-fsanitize=address,undefined)
elseif(NOT OMBREL_SANITIZE STREQUAL "")
  message(FATAL_ERROR "OMBREL_SANITIZE must be empty, 'thread', 'address' (address + undefined) or 'fuzzer'")
endif()

# ombrel_module_library(<name> SOURCES ... [DEPENDS ...])
# A library of the module (src/<name>): sees src/ and the host interface, never host/.
function(ombrel_module_library name)
  cmake_parse_arguments(A "" "" "SOURCES;DEPENDS" ${ARGN})
  add_library(ombrel_${name} STATIC ${A_SOURCES})
  target_include_directories(ombrel_${name} PUBLIC ${PROJECT_SOURCE_DIR}/src)
  target_link_libraries(ombrel_${name} PUBLIC ombrel_hostapi Threads::Threads ${A_DEPENDS})
endfunction()

# ombrel_host_library(<name> SOURCES ... [DEPENDS ...])
# A library of the stand-in host (host/<name>): sees host/ and the host interface, never src/.
function(ombrel_host_library name)
  cmake_parse_arguments(A "" "" "SOURCES;DEPENDS" ${ARGN})
  add_library(host_${name} STATIC ${A_SOURCES})
  target_include_directories(host_${name} PUBLIC ${PROJECT_SOURCE_DIR})
  target_link_libraries(host_${name} PUBLIC ombrel_hostapi Threads::Threads ${A_DEPENDS})
endfunction()

# ombrel_test(<name> SOURCES ... LIBS ... [LABELS ...] [HEADLESS])
# One test program; each of its cases becomes a CTest test carrying the labels.
# Label "tsan" marks the programs that also run under ThreadSanitizer, and "gui" those that
# open windows on an X server of their own (a hung server fails them in minutes, not ten).
# HEADLESS runs the cases with DISPLAY unset, as on a render node with no X server at all.
function(ombrel_test name)
  cmake_parse_arguments(A "HEADLESS" "" "SOURCES;LIBS;LABELS" ${ARGN})
  add_executable(${name} ${A_SOURCES})
  target_link_libraries(${name} PRIVATE ${A_LIBS} GTest::gtest GTest::gmock GTest::gtest_main)
  target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR}/tests)
  set_target_properties(${name} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/tests)
  set(properties TIMEOUT 600)
  if("gui" IN_LIST A_LABELS)
    set(properties TIMEOUT 120)
  endif()
  if(A_LABELS)
    # One label of them all, joined by commas ("tsan,gui"): the discovered tests' properties
    # are one flat list that would take a second label for a property's name. ctest's -L and
    # -LE match by regular expression, so -L tsan and -LE gui still find their parts.
    string(REPLACE ";" "," labels "${A_LABELS}")
    list(APPEND properties LABELS "${labels}")
  endif()
  if(A_HEADLESS)
    list(APPEND properties ENVIRONMENT_MODIFICATION "DISPLAY=unset:")
  endif()
  gtest_discover_tests(${name}
    DISCOVERY_MODE PRE_TEST
    DISCOVERY_TIMEOUT 60
    PROPERTIES ${properties}
    WORKING_DIRECTORY ${CMAKE_BINARY_DIR})
  set_property(GLOBAL APPEND PROPERTY OMBREL_TEST_TARGETS ${name})
  foreach(label IN LISTS A_LABELS)
    set_property(GLOBAL APPEND PROPERTY OMBREL_TEST_TARGETS_${label} ${name})
  endforeach()
endfunction()
