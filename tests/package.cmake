# What users install and build against: the C++ wrapper, the recorded interface, the Python package, the installed tree.
add_library_test(cpp_wrapper_test cpp_wrapper_test.cpp)
gtest_discover_tests(cpp_wrapper_test)
