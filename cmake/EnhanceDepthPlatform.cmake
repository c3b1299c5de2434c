# Where the interfaces of TensorRT, CUDA and the camera SDK come from.
#
#   ENHANCE_DEPTH_PLATFORM=system    all three installed SDKs, or an error
#                          emulated  this project's interface headers and the emulated board
#                          auto      the headers of the SDKs that are installed, and this project's for the others;
#                                    the installed libraries if all three are found, else the emulated board's,
#                                    which have the same names and binary interface
#
# Defines enhance_depth_platform_headers (to compile against), enhance_depth_platform (to compile and link against),
# enhance_depth_tensorrt (likewise, TensorRT alone), enhance_depth_interface_headers (this project's own, all of them)
# and, if something needs it, the emulated board. ENHANCE_DEPTH_PLATFORM_FOLDERS are the folders of the libraries.

if(NOT ENHANCE_DEPTH_PLATFORM MATCHES "^(auto|system|emulated)$")
  message(FATAL_ERROR "ENHANCE_DEPTH_PLATFORM is \"${ENHANCE_DEPTH_PLATFORM}\"; it must be auto, system or emulated")
endif()

if(NOT ENHANCE_DEPTH_PLATFORM STREQUAL "emulated")
  find_package(TensorRT 10...<11 QUIET)
  find_package(CudaRuntime 12...<13 QUIET)
  find_package(OrbbecSDK 2...<3 QUIET)
endif()

set(interface_headers "${PROJECT_SOURCE_DIR}/platform/include")
add_library(enhance_depth_interface_headers INTERFACE)
target_include_directories(enhance_depth_interface_headers INTERFACE
  ${interface_headers}/tensorrt ${interface_headers}/cuda ${interface_headers}/camera)

add_library(enhance_depth_platform_headers INTERFACE)
set(platform_complete ON)
set(found_sdks "")
set(missing_sdks "")
set(platform_summary "")
# Takes the headers of one SDK from `target`, or this project's own from `folder`. Each SDK has a folder of its own, because
# the compiler searches every folder that it is given before its default folders, where an SDK may be installed.
macro(take_headers sdk target folder)
  if(${sdk}_FOUND AND NOT ENHANCE_DEPTH_PLATFORM STREQUAL "emulated")
    get_target_property(directories ${target} INTERFACE_INCLUDE_DIRECTORIES)
    list(APPEND found_sdks ${sdk})
    string(APPEND platform_summary "  ${sdk} ${${sdk}_VERSION}: headers from ${directories}\n")
  else()
    set(directories "${interface_headers}/${folder}")
    set(platform_complete OFF)
    list(APPEND missing_sdks ${sdk})
    string(APPEND platform_summary "  ${sdk}: this project's interface headers\n")
  endif()
  target_include_directories(enhance_depth_platform_headers SYSTEM INTERFACE "$<BUILD_INTERFACE:${directories}>")
endmacro()
take_headers(TensorRT TensorRT::nvinfer tensorrt)
take_headers(CudaRuntime CUDA::cudart cuda)
take_headers(OrbbecSDK OrbbecSDK::OrbbecSDK camera)

if(ENHANCE_DEPTH_PLATFORM STREQUAL "system" AND NOT platform_complete)
  message(FATAL_ERROR "ENHANCE_DEPTH_PLATFORM=system, but not every SDK was found:\n${platform_summary}"
    "Set TensorRT_ROOT, CUDAToolkit_ROOT or OrbbecSDK_ROOT, or build with ENHANCE_DEPTH_PLATFORM=auto.")
elseif(found_sdks AND missing_sdks)
  list(JOIN found_sdks ", " found_sdks)
  list(JOIN missing_sdks ", " missing_sdks)
  message(WARNING "Found: ${found_sdks}; not found: ${missing_sdks}. As not every SDK is there, this build uses the "
    "emulated board's libraries. To build for a board, configure with ENHANCE_DEPTH_PLATFORM=system.")
endif()

add_library(enhance_depth_platform INTERFACE)
target_link_libraries(enhance_depth_platform INTERFACE enhance_depth_platform_headers)
add_library(enhance_depth_tensorrt INTERFACE)
target_link_libraries(enhance_depth_tensorrt INTERFACE enhance_depth_platform_headers)
# With the board's libraries installed, only the tests use the emulated board.
if(platform_complete AND (NOT ENHANCE_DEPTH_BUILD_TESTS OR ENHANCE_DEPTH_PLATFORM STREQUAL "system"))
  set(ENHANCE_DEPTH_EMULATOR OFF)
else()
  set(ENHANCE_DEPTH_EMULATOR ON)
  add_subdirectory(emulator)
  get_directory_property(ENHANCE_DEPTH_ONNX_RUNNER DIRECTORY emulator DEFINITION ENHANCE_DEPTH_ONNX_RUNNER)
  get_directory_property(OpenVINO_VERSION DIRECTORY emulator DEFINITION OpenVINO_VERSION)
  get_directory_property(ENHANCE_DEPTH_OPENVINO_LIBRARY
    DIRECTORY emulator DEFINITION ENHANCE_DEPTH_OPENVINO_LIBRARY)
endif()
if(platform_complete)
  set(platform_libraries TensorRT::nvinfer CUDA::cudart OrbbecSDK::OrbbecSDK)
  string(APPEND platform_summary "  libraries: the installed ones")
else()
  set(platform_libraries emulated_nvinfer emulated_cudart emulated_camera)
  string(APPEND platform_summary "  libraries: the emulated board")
  if(ENHANCE_DEPTH_ONNX_RUNNER)
    string(APPEND platform_summary ", ONNX models by OpenVINO ${OpenVINO_VERSION}")
  else()
    string(APPEND platform_summary ", without ONNX models")
  endif()
endif()
target_link_libraries(enhance_depth_platform INTERFACE ${platform_libraries})
list(GET platform_libraries 0 tensorrt_library)
target_link_libraries(enhance_depth_tensorrt INTERFACE ${tensorrt_library})
list(TRANSFORM platform_libraries REPLACE "^(.+)$" "$<TARGET_FILE_DIR:\\1>" OUTPUT_VARIABLE ENHANCE_DEPTH_PLATFORM_FOLDERS)
message(STATUS "enhance_depth ${PROJECT_VERSION}, platform ${ENHANCE_DEPTH_PLATFORM}:\n${platform_summary}")
