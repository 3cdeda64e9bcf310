include(Precompiled)

# norn_library(NAME SOURCES a.cpp ... PUBLIC x ... PRIVATE y ...): one static library for one folder, with the links that
# its headers need and those that its sources alone need. Headers are included by their path from the root of the tree.
function(norn_library name)
  cmake_parse_arguments(ARG "" "" "SOURCES;PUBLIC;PRIVATE" ${ARGN})
  add_library(${name} STATIC ${ARG_SOURCES})
  target_include_directories(${name} PUBLIC ${CMAKE_SOURCE_DIR})
  target_link_libraries(${name} PUBLIC ${ARG_PUBLIC} PRIVATE ${ARG_PRIVATE})
endfunction()

# norn_program(NAME SOURCES a.cpp ... LINKS x ...): an installed program.
function(norn_program name)
  cmake_parse_arguments(ARG "" "" "SOURCES;LINKS" ${ARGN})
  add_executable(${name} ${ARG_SOURCES})
  target_include_directories(${name} PRIVATE ${CMAKE_SOURCE_DIR})
  target_link_libraries(${name} PRIVATE ${ARG_LINKS})
  set_target_properties(${name} PROPERTIES INSTALL_RPATH "$ORIGIN/../lib/nornhesperd")
endfunction()

# norn_test(NAME SOURCES a.cpp ... LINKS x ...): one GoogleTest program of that name, and one test of CTest.
function(norn_test name)
  cmake_parse_arguments(ARG "" "" "SOURCES;LINKS" ${ARGN})
  add_executable(${name} ${ARG_SOURCES})
  target_include_directories(${name} PRIVATE ${CMAKE_SOURCE_DIR})
  target_link_libraries(${name} PRIVATE ${ARG_LINKS} GTest::gtest_main)
  set_target_properties(${name} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/tests)
  # A test's own code is run once and compiled often.
  if(NOT NORNHESPER_SANITIZE)
    target_compile_options(${name} PRIVATE -O0)
  endif()
  if(NORNHESPER_PRECOMPILE)
    target_precompile_headers(${name} REUSE_FROM norn_test_headers)
  endif()
  # A sanitizer has descriptors and memory of its own, which tests of those have to allow for.
  if(NORNHESPER_SANITIZE)
    target_compile_definitions(${name} PRIVATE SANITIZED=true)
  else()
    target_compile_definitions(${name} PRIVATE SANITIZED=false)
  endif()
  add_test(NAME ${name} COMMAND ${name})
  add_dependencies(tests ${name})
endfunction()
