# The library: its parts by subject, its failures one by one, its threads, its binary.
add_library(test_support STATIC
  support/board_test.cpp
  support/captured_output.cpp
  support/record.cpp
  support/test_engine.cpp)
target_include_directories(test_support PUBLIC ${CMAKE_CURRENT_LIST_DIR})
target_link_libraries(test_support PUBLIC
  enhance_depth_objects emulated_board GTest::gtest PRIVATE enhance_depth_flags)

# A program of GoogleTest files on the internal functions.
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
gtest_discover_tests(library_test)
