set(NORNHESPER_SYSROOT "" CACHE STRING
  "Prefix in front of every fixed path (configuration, metadata, pid file, early log); empty on a real host")
option(NORNHESPER_GUEST "Build only what runs inside a VM, without libraries of its host" OFF)
option(NORNHESPER_STAND_IN "Link the stand-in for the hypervisor kernel's vsock in front of libc" ON)
# Both have guests, which are the stand-in's.
cmake_dependent_option(NORNHESPER_BUILD_TESTS "Build the tests" ON NORNHESPER_STAND_IN OFF)
cmake_dependent_option(NORNHESPER_BUILD_BENCH "Build the benchmarks" ON NORNHESPER_STAND_IN OFF)
option(NORNHESPER_PRECOMPILE "Parse the headers that most tests need once for all" OFF)
option(NORNHESPER_BUILD_FUZZ "Build the fuzzers (clang only)" OFF)
set(NORNHESPER_SANITIZE "" CACHE STRING "Sanitizers for the whole build, e.g. address,undefined or thread")

find_program(CCACHE_PROGRAM ccache)
if(CCACHE_PROGRAM)
  # Paths relative to the tree, so that another checkout finds the same results.
  set(launcher ${CMAKE_COMMAND} -E env CCACHE_BASEDIR=${CMAKE_SOURCE_DIR} CCACHE_NOHASHDIR=1
    CCACHE_SLOPPINESS=pch_defines,time_macros ${CCACHE_PROGRAM})
  set(CMAKE_C_COMPILER_LAUNCHER ${launcher})
  set(CMAKE_CXX_COMPILER_LAUNCHER ${launcher})
endif()

add_compile_options(-Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Wold-style-cast -Wcast-qual -Werror)
if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
  # What platform/corvane/mutex.h lets a class say of its locks.
  add_compile_options(-Wthread-safety)
endif()
# A program loads only the libraries that it uses.
add_link_options(-Wl,--as-needed)
if(NORNHESPER_SANITIZE)
  add_compile_options(-fsanitize=${NORNHESPER_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  add_link_options(-fsanitize=${NORNHESPER_SANITIZE})
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND NORNHESPER_SANITIZE MATCHES "thread")
    # asio has fences, which the sanitizer does not see; what they order is under mutexes as well.
    add_compile_options(-Wno-tsan)
  endif()
  if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang" AND NORNHESPER_SANITIZE MATCHES "undefined")
    # rapidjson's stacks compare their null pointer, advanced by what is wanted, before they allocate.
    add_compile_options(-fno-sanitize=pointer-overflow)
  endif()
endif()

# The JSON parser looks at 16 bytes at a time. For the whole tree, as its inline code has to be the same everywhere.
if(CMAKE_SYSTEM_PROCESSOR MATCHES "x86_64|AMD64")
  add_compile_definitions(RAPIDJSON_SSE2)
endif()
