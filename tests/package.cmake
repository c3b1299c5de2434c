# What users install and build against: the C++ wrapper, the recorded interface, the Python package, the installed tree.
add_library_test(cpp_wrapper_test cpp_wrapper_test.cpp sweep/allocation_faults.cpp)
gtest_discover_tests(cpp_wrapper_test)

# The recorded binary interface; `cmake --build BUILD --target renew_abi_record` writes a new record.
add_executable(describe_records_c abi/describe_records.c)
add_executable(describe_records_cpp abi/describe_records.cpp)
add_executable(describe_functions abi/describe_functions.cpp)
foreach(program IN ITEMS describe_records_c describe_records_cpp describe_functions)
  target_link_libraries(${program} PRIVATE enhance_depth enhance_depth_flags)
  set_target_properties(${program} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${CMAKE_CURRENT_BINARY_DIR}/abi)
endforeach()
list(JOIN CMAKE_CROSSCOMPILING_EMULATOR " " run_command)
set(abi_test ${CMAKE_COMMAND} -E env "RUN=${run_command}" ${CMAKE_CURRENT_SOURCE_DIR}/abi/abi_test.sh)
set(abi_inputs $<TARGET_FILE:enhance_depth> ${CMAKE_CURRENT_BINARY_DIR}/abi)
add_test(NAME abi_record COMMAND ${abi_test} ${abi_inputs})
add_custom_target(renew_abi_record COMMAND ${abi_test} --renew ${abi_inputs}
  DEPENDS enhance_depth describe_records_c describe_records_cpp describe_functions VERBATIM)

# What a user does with the installed tree; each script says what it needs. Not for builds whose programs do not run
# beside ordinary ones.
if(NOT CMAKE_CROSSCOMPILING AND NOT ENHANCE_DEPTH_SANITIZE)
  foreach(subject IN ITEMS examples package python)
    add_test(NAME ${subject} COMMAND ${CMAKE_CURRENT_SOURCE_DIR}/${subject}_test.sh ${PROJECT_BINARY_DIR})
  endforeach()
endif()
