# With NORNHESPER_PRECOMPILE, the headers that most tests need are parsed once for all of them. The builds under
# sanitizers and by clang do without; the one under AddressSanitizer goes file by file as well, so that a source that
# lacks an include is found there.
if(NORNHESPER_PRECOMPILE AND NORNHESPER_BUILD_TESTS)
  find_package(GTest REQUIRED)
  # Lets ccache look into it.
  add_compile_options(-fpch-preprocess)
  # A program, as a precompiled header fits compilations with the same flags only.
  add_executable(norn_test_headers EXCLUDE_FROM_ALL ${CMAKE_CURRENT_LIST_DIR}/precompiled.cpp)
  target_compile_options(norn_test_headers PRIVATE -O0)
  target_link_libraries(norn_test_headers PRIVATE GTest::gtest)
  target_precompile_headers(norn_test_headers PRIVATE
    <algorithm> <array> <atomic> <chrono> <cstdint> <cstring> <filesystem> <fstream> <functional> <map> <memory> <mutex>
    <optional> <string> <string_view> <system_error> <thread> <utility> <variant> <vector> <gtest/gtest.h>)
endif()
