# Settings and target functions that every folder uses. Nothing here reaches a project that takes this tree in.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
# The registry looks for components beside the system library, so libraries share one folder in the build too.
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/lib)
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/bin)
set(CMAKE_BUILD_RPATH_USE_ORIGIN ON)
# The last for the package, in a sandbox without /proc, from which the loader learns where a program lies.
set(CMAKE_INSTALL_RPATH "$ORIGIN/../lib/qvthumbs;$ORIGIN;/usr/lib/qvthumbs")
# Of the libraries that programs link: docs/packages.md says what raises it.
set(QV_ABI_VERSION 0)

find_package(Threads REQUIRED)
include(QvPrecompiled)

# What this tree is compiled with; never part of what a user of its libraries takes over.
add_library(qv_settings INTERFACE)
target_include_directories(qv_settings INTERFACE ${PROJECT_SOURCE_DIR}/include)
target_compile_options(qv_settings INTERFACE -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wno-sign-conversion
                       -Wnon-virtual-dtor -Woverloaded-virtual)
target_link_libraries(qv_settings INTERFACE Threads::Threads)
if(CMAKE_CXX_COMPILER_ID MATCHES "Clang")
  target_compile_options(qv_settings INTERFACE -Wthread-safety -Wthread-safety-beta)
endif()
if(QV_SANITIZE)
  # vptr is left out: it wants one type_info per interface in the whole process, while component libraries keep theirs
  # hidden on purpose.
  target_compile_options(qv_settings INTERFACE -fsanitize=${QV_SANITIZE} -fno-omit-frame-pointer)
  target_link_options(qv_settings INTERFACE -fsanitize=${QV_SANITIZE})
  if(QV_SANITIZE MATCHES "undefined")
    target_compile_options(qv_settings INTERFACE -fno-sanitize-recover=undefined -fno-sanitize=vptr)
  endif()
endif()
if(QV_SANITIZE MATCHES "address")
  target_compile_definitions(qv_settings INTERFACE QV_ADDRESS_SANITIZER)
elseif(QV_SANITIZE MATCHES "thread")
  target_compile_definitions(qv_settings INTERFACE QV_THREAD_SANITIZER)
endif()
if(QV_SANITIZE STREQUAL "address,undefined" AND CMAKE_CXX_COMPILER_ID MATCHES "Clang")
  # Every component exports registration data under the same name, which is no violation.
  target_compile_options(qv_settings INTERFACE -fsanitize-address-use-odr-indicator)
  # As a library of its own it can be there before an interpreter that loads the Python module.
  execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-file-name=libclang_rt.asan-${CMAKE_SYSTEM_PROCESSOR}.so
                  OUTPUT_VARIABLE qv_asan_library OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
  cmake_path(GET qv_asan_library PARENT_PATH qv_asan_folder)
  target_link_options(qv_settings INTERFACE -shared-libasan LINKER:-rpath,${qv_asan_folder})
endif()
if(QV_COVERAGE)
  # Atomic, because the workers count too.
  target_compile_options(qv_settings INTERFACE --coverage -fprofile-update=atomic -O0 -g)
  target_link_options(qv_settings INTERFACE --coverage)
endif()
if(QV_ANALYSE_ONLY)
  # Every file is parsed and analysed; what would be made of it is an empty file. A build is then as incremental as any.
  set(CMAKE_CXX_COMPILE_OBJECT
      "<CMAKE_CXX_COMPILER> <DEFINES> <INCLUDES> <FLAGS> -fsyntax-only <SOURCE>" "${CMAKE_COMMAND} -E touch <OBJECT>")
  set(CMAKE_CXX_LINK_EXECUTABLE "${CMAKE_COMMAND} -E touch <TARGET>")
  set(CMAKE_CXX_CREATE_SHARED_LIBRARY "${CMAKE_COMMAND} -E touch <TARGET>")
  set(CMAKE_CXX_CREATE_SHARED_MODULE "${CMAKE_COMMAND} -E touch <TARGET>")
  set(CMAKE_CXX_ARCHIVE_CREATE "${CMAKE_COMMAND} -E touch <TARGET>")
  set(CMAKE_CXX_ARCHIVE_FINISH "")
endif()

# Files of one target that give different things the same private name. A build that compiles several files at once
# (CMAKE_UNITY_BUILD, as the sanitizers' presets do: half the processor time) compiles these one by one.
function(qv_compiled_alone)
  set_source_files_properties(${ARGN} PROPERTIES SKIP_UNITY_BUILD_INCLUSION ON)
endfunction()
if(CMAKE_UNITY_BUILD AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  # A private type counts as another file's there.
  add_compile_options(-Wno-subobject-linkage)
endif()

# qv_library(<name> SOURCES ... [PUBLIC libs...] [PRIVATE libs...] [DEFINE macro] [EXPORTS version-script])
# A dynamic library <name> and an object library <name>_objects with the same code, so that tests can reach its insides.
# One with a version script is a component, which is loaded by its name; one without is for programs to link.
function(qv_library name)
  cmake_parse_arguments(arg "" "DEFINE;EXPORTS" "SOURCES;PUBLIC;PRIVATE" ${ARGN})
  add_library(${name}_objects OBJECT ${arg_SOURCES})
  target_link_libraries(${name}_objects PUBLIC qv_settings ${arg_PUBLIC} PRIVATE ${arg_PRIVATE})
  target_include_directories(${name}_objects PRIVATE ${PROJECT_SOURCE_DIR})
  if(arg_DEFINE)
    target_compile_definitions(${name}_objects PRIVATE ${arg_DEFINE})
  endif()
  qv_precompiled_headers(${name}_objects)
  add_library(${name} SHARED $<TARGET_OBJECTS:${name}_objects>)
  target_include_directories(${name} PUBLIC $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include>)
  target_compile_features(${name} PUBLIC cxx_std_20)
  target_link_libraries(${name} PUBLIC ${arg_PUBLIC} PRIVATE qv_settings ${arg_PRIVATE})
  if(arg_EXPORTS)
    target_link_options(${name} PRIVATE LINKER:--version-script=${arg_EXPORTS})
    set_target_properties(${name} PROPERTIES LINK_DEPENDS ${arg_EXPORTS})
    install(TARGETS ${name} LIBRARY DESTINATION lib/qvthumbs COMPONENT libraries)
  else()
    set_target_properties(${name} PROPERTIES VERSION ${PROJECT_VERSION} SOVERSION ${QV_ABI_VERSION})
    install(TARGETS ${name} EXPORT qvthumbs
            LIBRARY DESTINATION lib/qvthumbs COMPONENT libraries NAMELINK_COMPONENT development
            INCLUDES DESTINATION include/qvthumbs)
  endif()
endfunction()

# qv_test(<name> SOURCES ... [LIBS ...] [TIMEOUT seconds])
function(qv_test name)
  cmake_parse_arguments(arg "" "TIMEOUT" "SOURCES;LIBS" ${ARGN})
  if(NOT arg_TIMEOUT)
    set(arg_TIMEOUT 300)
  endif()
  add_executable(${name} ${arg_SOURCES})
  qv_test_settings(${name})
  target_link_libraries(${name} PRIVATE ${arg_LIBS} GTest::gtest_main)
  qv_precompiled_test_headers(${name})
  set_target_properties(${name} PROPERTIES ENABLE_EXPORTS ON)
  # One CTest entry a program: a start of the program loads all the libraries.
  add_test(NAME ${name} COMMAND ${name})
  # A time without a zone is local time, so the zone is the same everywhere.
  set_tests_properties(${name} PROPERTIES TIMEOUT ${arg_TIMEOUT} ENVIRONMENT TZ=UTC0)
endfunction()

# What every test program is compiled with.
function(qv_test_settings name)
  target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR})
  target_link_libraries(${name} PRIVATE qv_settings GTest::gtest GTest::gmock)
  if(QV_SANITIZE)
    # What is tested is optimised as the preset says; the test itself takes twice as long to compile with it.
    target_compile_options(${name} PRIVATE -O0)
  endif()
endfunction()

# qv_fuzzer(<name> SOURCES ... [LIBS ...])
function(qv_fuzzer name)
  cmake_parse_arguments(arg "" "" "SOURCES;LIBS" ${ARGN})
  add_executable(${name} ${arg_SOURCES})
  target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR})
  target_compile_options(${name} PRIVATE -fsanitize=fuzzer)
  target_link_options(${name} PRIVATE -fsanitize=fuzzer)
  target_link_libraries(${name} PRIVATE qv_settings ${arg_LIBS})
endfunction()

# qv_bench(<name> SOURCES ... [LIBS ...])
# A Google Benchmark program with a main function of its own.
function(qv_bench name)
  cmake_parse_arguments(arg "" "" "SOURCES;LIBS" ${ARGN})
  find_package(benchmark REQUIRED)
  add_executable(${name} ${arg_SOURCES})
  target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR})
  target_link_libraries(${name} PRIVATE qv_settings ${arg_LIBS} benchmark::benchmark)
endfunction()
