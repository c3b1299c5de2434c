# The headers that nearly all tests include are compiled once, which halves the time to build them.
file(CONFIGURE OUTPUT "${CMAKE_CURRENT_BINARY_DIR}/test_headers.cpp" CONTENT "")
add_library(test_headers OBJECT "${CMAKE_CURRENT_BINARY_DIR}/test_headers.cpp")
target_link_libraries(test_headers PRIVATE enhance_depth_flags GTest::gtest)
target_precompile_headers(test_headers PRIVATE
  <algorithm> <array> <filesystem> <fstream> <functional> <map> <memory> <sstream> <string> <vector> <gtest/gtest.h>)

get_property(folders DIRECTORY PROPERTY SUBDIRECTORIES)
foreach(folder IN LISTS folders)
  get_property(targets DIRECTORY ${folder} PROPERTY BUILDSYSTEM_TARGETS)
  foreach(target IN LISTS targets)
    get_target_property(libraries ${target} LINK_LIBRARIES)
    if(libraries MATCHES "GTest::")
      target_precompile_headers(${target} REUSE_FROM test_headers)
    endif()
  endforeach()
endforeach()
