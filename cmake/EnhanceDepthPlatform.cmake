# Where the interfaces of TensorRT, CUDA and the camera SDK come from.
#
#   ENHANCE_DEPTH_PLATFORM=system    all three installed SDKs, or an error
#                          emulated  this project's interface headers and the emulated board
#                          auto      the headers of the SDKs that are installed and this project's for the others;
#                                    the installed libraries if all three are there, else the emulated board's,
#                                    which have the same names and binary interface
#
# Defines enhance_depth_platform_headers (to compile against), enhance_depth_platform (to compile and link against)
# and, unless the platform is `system`, the emulated board (emulator/).

if(NOT ENHANCE_DEPTH_PLATFORM MATCHES "^(auto|system|emulated)$")
  message(FATAL_ERROR "ENHANCE_DEPTH_PLATFORM is \"${ENHANCE_DEPTH_PLATFORM}\"; it must be auto, system or emulated")
endif()

if(NOT ENHANCE_DEPTH_PLATFORM STREQUAL "emulated")
  find_package(TensorRT 10...<11 QUIET)
  find_package(CudaRuntime 12...<13 QUIET)
  find_package(OrbbecSDK 2...<3 QUIET)
endif()

add_library(enhance_depth_platform_headers INTERFACE)
set(platform_complete ON)
set(platform_summary "")
set(target_TensorRT TensorRT::nvinfer)
set(target_CudaRuntime CUDA::cudart)
set(target_OrbbecSDK OrbbecSDK::OrbbecSDK)
foreach(sdk IN ITEMS TensorRT CudaRuntime OrbbecSDK)
  if(${sdk}_FOUND AND TARGET ${target_${sdk}} AND NOT ENHANCE_DEPTH_PLATFORM STREQUAL "emulated")
    get_target_property(directories ${target_${sdk}} INTERFACE_INCLUDE_DIRECTORIES)
    target_include_directories(enhance_depth_platform_headers SYSTEM INTERFACE ${directories})
    string(APPEND platform_summary "  ${sdk} ${${sdk}_VERSION}: headers from ${directories}\n")
  else()
    set(platform_complete OFF)
    string(APPEND platform_summary "  ${sdk}: this project's interface headers\n")
  endif()
endforeach()
# Last in the search order: serves only the headers that no installed SDK has.
target_include_directories(enhance_depth_platform_headers SYSTEM INTERFACE
  $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/platform/include>)

if(ENHANCE_DEPTH_PLATFORM STREQUAL "system" AND NOT platform_complete)
  message(FATAL_ERROR "ENHANCE_DEPTH_PLATFORM=system, but not every SDK was found:\n${platform_summary}"
    "Set TensorRT_ROOT, CUDAToolkit_ROOT or OrbbecSDK_ROOT, or build with ENHANCE_DEPTH_PLATFORM=auto.")
endif()

add_library(enhance_depth_platform INTERFACE)
target_link_libraries(enhance_depth_platform INTERFACE enhance_depth_platform_headers)
if(ENHANCE_DEPTH_PLATFORM STREQUAL "system")
  set(ENHANCE_DEPTH_EMULATOR OFF)
else()
  set(ENHANCE_DEPTH_EMULATOR ON)
  add_subdirectory(emulator)
endif()
if(platform_complete)
  target_link_libraries(enhance_depth_platform INTERFACE TensorRT::nvinfer CUDA::cudart OrbbecSDK::OrbbecSDK)
  string(APPEND platform_summary "  libraries: the installed ones")
else()
  target_link_libraries(enhance_depth_platform INTERFACE emulated_nvinfer emulated_cudart emulated_camera)
  string(APPEND platform_summary "  libraries: the emulated board")
endif()
message(STATUS "enhance_depth ${PROJECT_VERSION}, platform ${ENHANCE_DEPTH_PLATFORM}:\n${platform_summary}")
