# Finds the TensorRT runtime: TensorRT_FOUND, TensorRT_VERSION and the target TensorRT::nvinfer.
# Looks below TensorRT_ROOT, TENSORRT_DIR (variable or environment), the multiarch folders and /usr/src/tensorrt.
set(tensorrt_hints ${TensorRT_ROOT} ${TENSORRT_DIR} $ENV{TensorRT_ROOT} $ENV{TENSORRT_DIR} /usr/src/tensorrt)

find_path(TensorRT_INCLUDE_DIR NAMES NvInferRuntime.h
  HINTS ${tensorrt_hints}
  PATH_SUFFIXES include include/${CMAKE_LIBRARY_ARCHITECTURE} targets/${CMAKE_SYSTEM_PROCESSOR}-linux-gnu/include)
find_library(TensorRT_LIBRARY NAMES nvinfer libnvinfer.so.10
  HINTS ${tensorrt_hints}
  PATH_SUFFIXES lib lib/${CMAKE_LIBRARY_ARCHITECTURE} targets/${CMAKE_SYSTEM_PROCESSOR}-linux-gnu/lib)
mark_as_advanced(TensorRT_INCLUDE_DIR TensorRT_LIBRARY)

# Sets `result` to the value of a version macro: a number, or the name of another macro of the same header.
function(tensorrt_version_macro header name result)
  file(STRINGS "${header}" line REGEX "^#define[ \t]+${name}[ \t]+[A-Za-z0-9_]+" LIMIT_COUNT 1)
  string(REGEX REPLACE "^#define[ \t]+${name}[ \t]+([A-Za-z0-9_]+).*" "\\1" value "${line}")
  if(value MATCHES "^[A-Za-z_]")
    tensorrt_version_macro("${header}" ${value} value)
  endif()
  set(${result} "${value}" PARENT_SCOPE)
endfunction()

if(TensorRT_INCLUDE_DIR AND EXISTS "${TensorRT_INCLUDE_DIR}/NvInferVersion.h")
  foreach(part IN ITEMS MAJOR MINOR PATCH)
    tensorrt_version_macro("${TensorRT_INCLUDE_DIR}/NvInferVersion.h" NV_TENSORRT_${part} tensorrt_${part})
  endforeach()
  set(TensorRT_VERSION "${tensorrt_MAJOR}.${tensorrt_MINOR}.${tensorrt_PATCH}")
endif()

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(TensorRT
  REQUIRED_VARS TensorRT_LIBRARY TensorRT_INCLUDE_DIR VERSION_VAR TensorRT_VERSION HANDLE_VERSION_RANGE)

if(TensorRT_FOUND AND NOT TARGET TensorRT::nvinfer)
  add_library(TensorRT::nvinfer UNKNOWN IMPORTED)
  set_target_properties(TensorRT::nvinfer PROPERTIES
    IMPORTED_LOCATION "${TensorRT_LIBRARY}" INTERFACE_INCLUDE_DIRECTORIES "${TensorRT_INCLUDE_DIR}")
endif()
