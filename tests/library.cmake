# The library: its parts by subject, its failures one by one, its threads, its binary.
add_library(test_support STATIC
  support/board_test.cpp
  support/record.cpp
  support/test_engine.cpp)
target_include_directories(test_support PUBLIC ${CMAKE_CURRENT_LIST_DIR})
target_link_libraries(test_support PUBLIC
  enhance_depth_objects emulated_board GTest::gtest PRIVATE enhance_depth_flags)

# A program on the internal functions.
function(add_library_test name)
  add_executable(${name} ${ARGN})
  target_link_libraries(${name} PRIVATE test_support enhance_depth_objects enhance_depth_flags GTest::gtest_main)
endfunction()

add_library_test(library_test
  allocate_test.cpp
  conversion_test.cpp
  cuda_check_test.cpp
  engine_object_test.cpp
  entry_point_test.cpp
  error_record_test.cpp
  infer_test.cpp
  log_test.cpp
  tensor_text_test.cpp)
target_link_libraries(library_test PRIVATE ${CMAKE_DL_LIBS})
gtest_discover_tests(library_test)

# Has its own open() and read().
add_library_test(engine_file_test engine_file_test.cpp)
gtest_discover_tests(engine_file_test)

find_package(Threads REQUIRED)
add_library_test(threads_test threads_test.cpp)
target_link_libraries(threads_test PRIVATE Threads::Threads)
gtest_discover_tests(threads_test PROPERTIES LABELS threads)

# Its objects are memory with tables made by hand, in which neither optimizer nor sanitizer can find a type. As
# options of the file they come behind those of the targets.
add_library_test(platform_abi_test platform_abi_test.cpp)
set(abi_options -fno-strict-aliasing)
if(ENHANCE_DEPTH_SANITIZE MATCHES undefined)
  list(APPEND abi_options -fno-sanitize=vptr)
endif()
set_source_files_properties(platform_abi_test.cpp PROPERTIES COMPILE_OPTIONS "${abi_options}")
gtest_discover_tests(platform_abi_test)

# The public header in both languages, against the shared library.
foreach(language IN ITEMS c cpp)
  set(name public_header_${language}_test)
  add_executable(${name} public_header_test.${language})
  set_target_properties(${name} PROPERTIES C_STANDARD 11 C_EXTENSIONS OFF CXX_STANDARD 17 CXX_EXTENSIONS OFF)
  target_compile_options(${name} PRIVATE -pedantic-errors)
  target_link_libraries(${name} PRIVATE enhance_depth enhance_depth_flags)
  add_test(NAME ${name} COMMAND ${name})
endforeach()

if(NOT ENHANCE_DEPTH_SANITIZE AND CMAKE_BUILD_TYPE STREQUAL "Release")
  add_test(NAME binary_checks COMMAND
    ${CMAKE_CURRENT_LIST_DIR}/binary_checks.sh ${PROJECT_BINARY_DIR} ${CMAKE_OBJDUMP})
endif()

# Everything that can fail, failed.
add_library_test(platform_sweep_test sweep/platform_sweep_test.cpp sweep/failure_table.cpp sweep/scenario.cpp)
gtest_discover_tests(platform_sweep_test)
add_library_test(allocation_sweep_test
  sweep/allocation_sweep_test.cpp sweep/allocation_faults.cpp sweep/failure_table.cpp sweep/scenario.cpp)
gtest_discover_tests(allocation_sweep_test)

# The sweeps once more under valgrind, which sees what the sanitizers do not: every read of memory never written. It
# must leave the allocation sweep's own operator new in its place.
find_program(VALGRIND valgrind)
mark_as_advanced(VALGRIND)
if(VALGRIND AND NOT ENHANCE_DEPTH_SANITIZE AND NOT CMAKE_CROSSCOMPILING)
  foreach(sweep IN ITEMS platform_sweep allocation_sweep)
    add_test(NAME ${sweep}_memcheck COMMAND ${VALGRIND} -q --error-exitcode=9 --leak-check=full
      --show-leak-kinds=definite,indirect,possible --errors-for-leak-kinds=definite,indirect,possible
      --soname-synonyms=somalloc=nouserintercepts $<TARGET_FILE:${sweep}_test>)
  endforeach()
endif()

# The whole run, `soak`, takes 20,000 frames; here a short one.
add_executable(soak sweep/soak.cpp sweep/allocation_faults.cpp)
target_link_libraries(soak PRIVATE test_support enhance_depth_objects enhance_depth_flags)
add_test(NAME soak COMMAND soak 1000)

option(ENHANCE_DEPTH_BUILD_FUZZERS "Build the fuzzers (need Clang and OpenCV)" OFF)
if(ENHANCE_DEPTH_BUILD_FUZZERS)
  add_subdirectory(${PROJECT_SOURCE_DIR}/fuzz ${PROJECT_BINARY_DIR}/fuzz)
endif()
