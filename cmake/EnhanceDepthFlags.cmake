# enhance_depth_flags: what every target of this project is compiled and linked with. Nothing here is set globally,
# so that a parent project keeps its own flags.
add_library(enhance_depth_flags INTERFACE)
target_compile_features(enhance_depth_flags INTERFACE cxx_std_17 c_std_11)
target_compile_options(enhance_depth_flags INTERFACE
  -Wall -Wextra -Wpedantic -Wconversion -Wshadow
  $<$<BOOL:${ENHANCE_DEPTH_WERROR}>:-Werror>
  # Paths of the build machine stay out of the binaries.
  -ffile-prefix-map=${PROJECT_SOURCE_DIR}/=)

if(ENHANCE_DEPTH_SANITIZE)
  target_compile_options(enhance_depth_flags INTERFACE
    -fsanitize=${ENHANCE_DEPTH_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer
    # With GCC's instrumentation this warning has false positives, as in std::regex.
    $<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized>)
  target_link_options(enhance_depth_flags INTERFACE -fsanitize=${ENHANCE_DEPTH_SANITIZE})
endif()

# enhance_depth_hardening: compiler and linker options that make the shared library and the tool harder to exploit.
add_library(enhance_depth_hardening INTERFACE)
target_compile_options(enhance_depth_hardening INTERFACE -fstack-protector-strong)
target_link_options(enhance_depth_hardening INTERFACE LINKER:-z,relro,-z,now,-z,noexecstack)
if(top_level AND NOT ENHANCE_DEPTH_SANITIZE)
  # Sanitizers, which a parent may have among its flags, resolve their runtime in the executable.
  target_link_options(enhance_depth_hardening INTERFACE LINKER:-z,defs)
endif()
if(CMAKE_SYSTEM_PROCESSOR MATCHES "aarch64|arm64")
  target_compile_options(enhance_depth_hardening INTERFACE -mbranch-protection=standard)
elseif(CMAKE_SYSTEM_PROCESSOR MATCHES "x86_64|AMD64")
  target_compile_options(enhance_depth_hardening INTERFACE -fcf-protection=full)
endif()
if(NOT ENHANCE_DEPTH_SANITIZE)
  # Sanitizers check more than fortified functions would. Level 2 and not 3, about which GCC 11 with a newer C library
  # warns.
  target_compile_options(enhance_depth_hardening INTERFACE
    $<$<NOT:$<CONFIG:Debug>>:-U_FORTIFY_SOURCE> $<$<NOT:$<CONFIG:Debug>>:-D_FORTIFY_SOURCE=2>)
endif()
