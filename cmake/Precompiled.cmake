# Parsing the standard library's headers takes a third of the time of most sources. With NORNHESPER_PRECOMPILE it is done
# once for all libraries and once for all tests. The builds under sanitizers and by clang do without, so that a source
# that lacks an include is found there.
set(std_headers <algorithm> <array> <atomic> <chrono> <cstdint> <cstring> <functional> <map> <memory> <mutex> <optional>
  <string> <string_view> <system_error> <utility> <variant> <vector>)

# A precompiled header fits compilations with the same flags only, so that each kind has one of its own.
if(NORNHESPER_PRECOMPILE)
  # Lets ccache look into it.
  add_compile_options(-fpch-preprocess)
  # gcc 12 forgets that the headers are the system's, where it doesn't warn of what it only suspects.
  add_compile_options(-Wno-array-bounds -Wno-restrict -Wno-stringop-overflow -Wno-stringop-overread)
  add_library(norn_std_headers STATIC ${CMAKE_CURRENT_LIST_DIR}/precompiled.cpp)
  target_precompile_headers(norn_std_headers PRIVATE ${std_headers})
endif()
if(NORNHESPER_PRECOMPILE AND NORNHESPER_BUILD_TESTS)
  find_package(GTest REQUIRED)
  add_executable(norn_test_headers EXCLUDE_FROM_ALL ${CMAKE_CURRENT_LIST_DIR}/precompiled.cpp)
  target_compile_options(norn_test_headers PRIVATE -O0)
  target_link_libraries(norn_test_headers PRIVATE GTest::gtest)
  target_precompile_headers(norn_test_headers PRIVATE ${std_headers} <filesystem> <fstream> <thread> <gtest/gtest.h>)
endif()

# norn_precompiled(NAME KIND): the target's sources take the headers of that kind as they were parsed.
function(norn_precompiled name kind)
  if(NORNHESPER_PRECOMPILE)
    target_precompile_headers(${name} REUSE_FROM ${kind})
  endif()
endfunction()
