# The emulated board itself: the promises on which the other tests rely.
foreach(subject IN ITEMS camera control cuda description tensorrt)
  set(name emulated_${subject}_test)
  add_executable(${name} ${CMAKE_CURRENT_LIST_DIR}/emulated_${subject}_test.cpp)
  target_include_directories(${name} PRIVATE ${CMAKE_CURRENT_LIST_DIR}/../emulator)
  target_link_libraries(${name} PRIVATE
    enhance_depth_flags emulated_board emulated_engine_description GTest::gtest_main)
  gtest_discover_tests(${name})
endforeach()
