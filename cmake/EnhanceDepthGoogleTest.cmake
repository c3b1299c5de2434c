# GoogleTest for the tests, built from Debian's source package with this build's own compiler and sanitizers: the
# packaged binaries fit neither the AArch64 build nor the thread sanitizer.
function(add_googletest source)
  if(NOT EXISTS ${source}/CMakeLists.txt)
    message(FATAL_ERROR "${source} is missing: install the package googletest, "
      "or configure with -DENHANCE_DEPTH_BUILD_TESTS=OFF")
  endif()
  set(INSTALL_GTEST OFF)
  set(CMAKE_POLICY_DEFAULT_CMP0077 NEW)
  set(CMAKE_WARN_DEPRECATED OFF)
  add_subdirectory(${source} ${PROJECT_BINARY_DIR}/googletest EXCLUDE_FROM_ALL)
  foreach(target IN ITEMS gtest gtest_main)
    # Need not be fast, and optimizing takes long.
    target_compile_options(${target} PRIVATE -O0)
    if(ENHANCE_DEPTH_SANITIZE)
      target_compile_options(${target} PRIVATE -fsanitize=${ENHANCE_DEPTH_SANITIZE})
    endif()
  endforeach()
endfunction()
add_googletest(/usr/src/googletest)
include(GoogleTest)
