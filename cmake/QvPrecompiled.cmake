# Precompiled headers: the standard library's for the libraries, GoogleTest's with it for the test programs. Each is
# compiled once and reused by every target that is compiled alike. They only save time: every source includes what it
# needs and compiles without them (CMAKE_DISABLE_PRECOMPILE_HEADERS, as the presets clang-tsa and clang-alone do).

# Without these, ccache compiles a source that has a precompiled header anew every time.
if(CMAKE_CXX_COMPILER_LAUNCHER MATCHES "(^|/)ccache$")
  set(CMAKE_CXX_COMPILER_LAUNCHER env CCACHE_SLOPPINESS=pch_defines,time_macros ${CMAKE_CXX_COMPILER_LAUNCHER})
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    add_compile_options($<$<COMPILE_LANGUAGE:CXX>:-fpch-preprocess>)
  else()
    add_compile_options("$<$<COMPILE_LANGUAGE:CXX>:SHELL:-Xclang -fno-pch-timestamp>")
  endif()
endif()

set(qv_standard_headers <algorithm> <cmath> <cstdint> <cstring> <functional> <limits> <memory> <mutex> <optional>
    <span> <string> <string_view> <utility> <vector>)
set(qv_test_headers <gmock/gmock.h> <gtest/gtest.h> ${qv_standard_headers} <atomic> <filesystem> <fstream> <map>
    <random> <set> <thread>)

# qv_precompiled_headers(<target> [headers...]): for a library that is compiled with qv_settings and position
# independent. With more headers than the standard library's it has a precompiled header of its own.
function(qv_precompiled_headers target)
  if(ARGN)
    target_precompile_headers(${target} PRIVATE ${qv_standard_headers} ${ARGN})
    return()
  endif()
  if(NOT TARGET qv_precompiled)
    file(CONFIGURE OUTPUT ${PROJECT_BINARY_DIR}/precompiled/library.cpp CONTENT "")
    add_library(qv_precompiled OBJECT EXCLUDE_FROM_ALL ${PROJECT_BINARY_DIR}/precompiled/library.cpp)
    target_link_libraries(qv_precompiled PRIVATE qv_settings)
    target_precompile_headers(qv_precompiled PRIVATE ${qv_standard_headers})
  endif()
  target_precompile_headers(${target} REUSE_FROM qv_precompiled)
endfunction()

# qv_precompiled_test_headers(<target>): for a program that is compiled with qv_test_settings.
function(qv_precompiled_test_headers target)
  if(NOT TARGET qv_precompiled_test)
    file(CONFIGURE OUTPUT ${PROJECT_BINARY_DIR}/precompiled/test.cpp CONTENT "int main() {}\n")
    add_executable(qv_precompiled_test EXCLUDE_FROM_ALL ${PROJECT_BINARY_DIR}/precompiled/test.cpp)
    qv_test_settings(qv_precompiled_test)
    target_precompile_headers(qv_precompiled_test PRIVATE ${qv_test_headers})
  endif()
  target_precompile_headers(${target} REUSE_FROM qv_precompiled_test)
endfunction()
