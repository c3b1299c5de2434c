# The tool's pipeline. It needs neither OpenCV nor the library, so it is tested where the tool is not built too: under the
# thread sanitizer, which then sees nothing but this project's threads.
add_executable(tool_pipeline_test tool_pipeline_test.cpp)
target_include_directories(tool_pipeline_test PRIVATE ${PROJECT_SOURCE_DIR}/tools/enhance-depth)
target_link_libraries(tool_pipeline_test PRIVATE enhance_depth_flags GTest::gtest_main)
gtest_discover_tests(tool_pipeline_test PROPERTIES LABELS threads)
