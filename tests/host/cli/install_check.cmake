# Installs the build into a fresh prefix and runs the installed program there: it must find
# its module beside itself. Called as: cmake -DBUILD_DIR=... -DPREFIX=... -P install_check.cmake
file(REMOVE_RECURSE ${PREFIX})
execute_process(COMMAND ${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${PREFIX}
                RESULT_VARIABLE installed OUTPUT_QUIET)
if(NOT installed EQUAL 0)
  message(FATAL_ERROR "cmake --install failed (${installed})")
endif()
execute_process(COMMAND ${PREFIX}/bin/ombrel servers
                RESULT_VARIABLE status OUTPUT_VARIABLE out ERROR_VARIABLE err)
if(NOT status EQUAL 0)
  message(FATAL_ERROR "installed ombrel servers failed (${status}): ${err}")
endif()
if(NOT out MATCHES "^${PREFIX}/lib/ombrel/ombrel.p\n" OR NOT out MATCHES "Strip Ombrel Shaders")
  message(FATAL_ERROR "unexpected output of the installed program:\n${out}")
endif()
file(REMOVE_RECURSE ${PREFIX})
