# Finds the CUDA runtime: CudaRuntime_FOUND, CudaRuntime_VERSION and the target CUDA::cudart. CMake's own module is tried
# first, but it requires the CUDA compiler; so a plain search for header and library follows, below CUDAToolkit_ROOT
# (variable or environment), /usr/local/cuda and the system's folders.
find_package(CUDAToolkit QUIET)
if(TARGET CUDA::cudart)
  set(CudaRuntime_VERSION "${CUDAToolkit_VERSION}")
  get_target_property(CudaRuntime_INCLUDE_DIR CUDA::cudart INTERFACE_INCLUDE_DIRECTORIES)
  set(CudaRuntime_LIBRARY CUDA::cudart)
else()
  set(cuda_hints ${CUDAToolkit_ROOT} $ENV{CUDAToolkit_ROOT} /usr/local/cuda)
  set(cuda_target targets/${CMAKE_SYSTEM_PROCESSOR}-linux)
  find_path(CudaRuntime_INCLUDE_DIR NAMES cuda_runtime_api.h
    HINTS ${cuda_hints} PATH_SUFFIXES include ${cuda_target}/include)
  find_library(CudaRuntime_LIBRARY NAMES cudart libcudart.so.12
    HINTS ${cuda_hints} PATH_SUFFIXES lib64 lib ${cuda_target}/lib lib/${CMAKE_LIBRARY_ARCHITECTURE})
  mark_as_advanced(CudaRuntime_INCLUDE_DIR CudaRuntime_LIBRARY)
  if(CudaRuntime_INCLUDE_DIR)
    file(STRINGS "${CudaRuntime_INCLUDE_DIR}/cuda_runtime_api.h" cuda_version_line
      REGEX "^#define[ \t]+CUDART_VERSION[ \t]+[0-9]+" LIMIT_COUNT 1)
    if(cuda_version_line MATCHES "[ \t]([0-9]+)0([0-9]+)0$")  # 12060 is 12.6
      set(CudaRuntime_VERSION "${CMAKE_MATCH_1}.${CMAKE_MATCH_2}")
    endif()
  endif()
endif()

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(CudaRuntime
  REQUIRED_VARS CudaRuntime_LIBRARY CudaRuntime_INCLUDE_DIR VERSION_VAR CudaRuntime_VERSION HANDLE_VERSION_RANGE)

if(CudaRuntime_FOUND AND NOT TARGET CUDA::cudart)
  add_library(CUDA::cudart UNKNOWN IMPORTED)
  set_target_properties(CUDA::cudart PROPERTIES
    IMPORTED_LOCATION "${CudaRuntime_LIBRARY}" INTERFACE_INCLUDE_DIRECTORIES "${CudaRuntime_INCLUDE_DIR}")
endif()
