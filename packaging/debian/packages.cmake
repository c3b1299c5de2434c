# Debian packages made by CPack, one per component; scripts/package builds them. Configure with
# -DCMAKE_INSTALL_PREFIX=/usr to get the folders that Debian uses.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME enhance-depth)
set(CPACK_DEBIAN_PACKAGE_SOURCE enhance-depth)
# Otherwise CPack would put the project's description before each component's summary line.
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")
set(CPACK_PACKAGE_VENDOR "enhance_depth maintainers")
set(CPACK_PACKAGE_CONTACT "enhance_depth maintainers <maintainers@enhance-depth.invalid>")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_VERBATIM_VARIABLES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)

set(CPACK_COMPONENTS_ALL runtime development)
if(ENHANCE_DEPTH_BUILD_TOOLS)
  list(APPEND CPACK_COMPONENTS_ALL tools)
endif()
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
if(CMAKE_LIBRARY_ARCHITECTURE MATCHES "aarch64")
  set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE arm64)
endif()

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME libenhance-depth${PROJECT_VERSION_MAJOR})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_COMPONENT_RUNTIME_DESCRIPTION "depth refinement for RGB-D cameras - shared library
Refines the depth image of an RGB-D camera, frame by frame, with a neural
network that TensorRT runs, and reports how far each pixel can be trusted.

The library needs TensorRT 10 (libnvinfer.so.10), the CUDA 12 runtime
(libcudart.so.12) and the camera SDK (libOrbbecSDK.so.2), which come from
their vendors. The first two are recommended; the camera SDK has no Debian
package.")
# Recommended, not required: Debian has none of the board's libraries, the vendors' package names differ between boards,
# and a development PC uses the emulated board instead.
set(CPACK_DEBIAN_RUNTIME_PACKAGE_RECOMMENDS "libnvinfer10 (>= 10.3), libcudart12 | cuda-cudart-12-6")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libenhance-depth-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION "depth refinement for RGB-D cameras - development files
The C and C++ headers of the library that refines the depth image of an
RGB-D camera, with its CMake package and its pkg-config file.")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS
  "libenhance-depth${PROJECT_VERSION_MAJOR} (= ${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE})")

set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME enhance-depth-tools)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION graphics)
set(CPACK_COMPONENT_TOOLS_DESCRIPTION "depth refinement for RGB-D cameras - command-line tool
Refines depth images from files: a 16-bit depth PNG and a colour picture in,
the refined depth, the confidence map and a preview picture out. Also refines
recorded sequences, measures how fast an engine runs, and checks whether an
engine or an ONNX model fits the library.")
set(CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS
  "libenhance-depth${PROJECT_VERSION_MAJOR} (= ${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE})")

set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA "${CMAKE_CURRENT_LIST_DIR}/triggers")
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
set(CPACK_PRE_BUILD_SCRIPTS "${CMAKE_CURRENT_LIST_DIR}/finish_packages.cmake")
set(CPACK_ENHANCE_DEPTH_SOURCE_DIR "${PROJECT_SOURCE_DIR}")

# dpkg-shlibdeps has to find the board's libraries, which no Debian package owns, and for the tool this library. Their
# locations are known only once the build system has been generated.
set(CPACK_PROJECT_CONFIG_FILE "${CMAKE_CURRENT_BINARY_DIR}/cpack_project.cmake")
set(platform_directories ${ENHANCE_DEPTH_PLATFORM_FOLDERS} $<TARGET_FILE_DIR:enhance_depth>)
file(GENERATE OUTPUT "${CPACK_PROJECT_CONFIG_FILE}" CONTENT
  "set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS \"${platform_directories}\")\n")
if(CMAKE_CROSSCOMPILING)
  # dpkg-shlibdeps would need the package database of the other architecture. Packages have the same names there, so the
  # dependencies of this machine's packages are used.
  set(ENHANCE_DEPTH_DEB_RUNTIME_DEPENDS "" CACHE STRING "Dependencies of the runtime package of a cross build")
  set(ENHANCE_DEPTH_DEB_TOOLS_DEPENDS "" CACHE STRING "Dependencies of the tools package of a cross build")
  set(CPACK_DEBIAN_RUNTIME_PACKAGE_DEPENDS "${ENHANCE_DEPTH_DEB_RUNTIME_DEPENDS}")
  set(CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS "${ENHANCE_DEPTH_DEB_TOOLS_DEPENDS}")
else()
  set(CPACK_DEBIAN_RUNTIME_PACKAGE_SHLIBDEPS ON)
  set(CPACK_DEBIAN_TOOLS_PACKAGE_SHLIBDEPS ON)
endif()
include(CPack)
