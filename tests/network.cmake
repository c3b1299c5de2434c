# The reference network that the emulated board runs.
add_executable(guided_filter_test guided_filter_test.cpp ${PROJECT_SOURCE_DIR}/emulator/nvinfer/networks/guided_filter.cpp)
target_include_directories(guided_filter_test PRIVATE ${PROJECT_SOURCE_DIR}/emulator)
target_link_libraries(guided_filter_test PRIVATE enhance_depth_flags GTest::gtest_main)
gtest_discover_tests(guided_filter_test)

if(ENHANCE_DEPTH_BUILD_TOOLS)
  # The sample data against the program that renders it.
  add_executable(samples_test samples_test.cpp)
  target_compile_definitions(samples_test PRIVATE
    MAKE_SAMPLE="$<TARGET_FILE:make_sample>" SAMPLES="${PROJECT_SOURCE_DIR}/samples")
  target_link_libraries(samples_test PRIVATE opencv_core opencv_imgcodecs enhance_depth_flags GTest::gtest_main)
  add_dependencies(samples_test make_sample)
  gtest_discover_tests(samples_test)

  # The checker of models for the library's contract.
  add_executable(tool_inspect_test tool_inspect_test.cpp)
  target_link_libraries(tool_inspect_test PRIVATE
    enhance_depth_tool enhance_depth_onnx_file enhance_depth_flags GTest::gtest_main)
  gtest_discover_tests(tool_inspect_test)
endif()
