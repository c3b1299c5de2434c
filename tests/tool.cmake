# The command-line tool: its pieces, and the whole program on the emulated board.
find_package(OpenCV REQUIRED COMPONENTS core imgcodecs imgproc)
find_package(nlohmann_json REQUIRED)
add_executable(tool_test
  tool_image_io_test.cpp
  tool_output_file_test.cpp
  tool_preview_test.cpp
  tool_recording_test.cpp
  tool_report_test.cpp)
target_link_libraries(tool_test PRIVATE
  enhance_depth_tool nlohmann_json::nlohmann_json enhance_depth_flags GTest::gtest_main)
gtest_discover_tests(tool_test)

if(ENHANCE_DEPTH_EMULATOR)
  find_package(Python3 REQUIRED COMPONENTS Interpreter)
  add_test(NAME tool_cli COMMAND ${Python3_EXECUTABLE} ${CMAKE_CURRENT_SOURCE_DIR}/tool_cli_test.py
    $<TARGET_FILE:enhance-depth> ${PROJECT_SOURCE_DIR}/models/reference.engine.toml)
endif()
