# The reference network that the emulated board runs.
add_executable(guided_filter_test guided_filter_test.cpp ${PROJECT_SOURCE_DIR}/emulator/nvinfer/networks/guided_filter.cpp)
target_include_directories(guided_filter_test PRIVATE ${PROJECT_SOURCE_DIR}/emulator)
target_link_libraries(guided_filter_test PRIVATE enhance_depth_flags GTest::gtest_main)
gtest_discover_tests(guided_filter_test)

if(ENHANCE_DEPTH_BUILD_TOOLS)
  # The program that renders the sample data.
  add_executable(sample_scene_test sample_scene_test.cpp)
  target_link_libraries(sample_scene_test PRIVATE sample_scene enhance_depth_flags GTest::gtest_main)
  gtest_discover_tests(sample_scene_test)

  # The checker of models for the library's contract.
  add_executable(tool_inspect_test tool_inspect_test.cpp)
  target_link_libraries(tool_inspect_test PRIVATE
    enhance_depth_tool enhance_depth_onnx_file enhance_depth_flags GTest::gtest_main)
  gtest_discover_tests(tool_inspect_test)
endif()
