# Finds OpenCV: OpenCV_FOUND, OpenCV_VERSION, OpenCV_INCLUDE_DIRS, and per component the target opencv_<component> and
# OpenCV_<component>_FOUND. OpenCV's own package configuration is preferred. Debian ships that only with the package of
# all modules (libopencv-dev); otherwise the packages of single modules (libopencv-core-dev and so on) are searched for.
find_package(OpenCV CONFIG QUIET OPTIONAL_COMPONENTS ${OpenCV_FIND_COMPONENTS})

if(OpenCV_CONFIG)
  foreach(component IN LISTS OpenCV_FIND_COMPONENTS)
    if(TARGET opencv_${component})
      set(OpenCV_${component}_FOUND ON)
    endif()
  endforeach()
else()
  find_path(OpenCV_INCLUDE_DIR opencv2/core/version.hpp PATH_SUFFIXES opencv4)
  mark_as_advanced(OpenCV_INCLUDE_DIR)
  if(OpenCV_INCLUDE_DIR)
    file(STRINGS "${OpenCV_INCLUDE_DIR}/opencv2/core/version.hpp" opencv_lines
      REGEX "^#define CV_VERSION_(MAJOR|MINOR|REVISION) +[0-9]+")
    string(REGEX REPLACE "[^0-9;]" "" opencv_numbers "${opencv_lines}")
    list(JOIN opencv_numbers "." OpenCV_VERSION)
    # The architecture-specific header, cvconfig.h, is in another folder.
    set(OpenCV_INCLUDE_DIRS ${OpenCV_INCLUDE_DIR})
  endif()
  foreach(component IN LISTS OpenCV_FIND_COMPONENTS)
    find_library(OpenCV_${component}_LIBRARY opencv_${component})
    mark_as_advanced(OpenCV_${component}_LIBRARY)
    if(OpenCV_${component}_LIBRARY AND EXISTS "${OpenCV_INCLUDE_DIR}/opencv2/${component}.hpp")
      set(OpenCV_${component}_FOUND ON)
      if(NOT TARGET opencv_${component})
        add_library(opencv_${component} UNKNOWN IMPORTED)
        set_target_properties(opencv_${component} PROPERTIES
          IMPORTED_LOCATION "${OpenCV_${component}_LIBRARY}"
          INTERFACE_SYSTEM_INCLUDE_DIRECTORIES "${OpenCV_INCLUDE_DIR}"
          INTERFACE_INCLUDE_DIRECTORIES "${OpenCV_INCLUDE_DIR}")
      endif()
    endif()
  endforeach()
endif()

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(OpenCV
  REQUIRED_VARS OpenCV_INCLUDE_DIRS VERSION_VAR OpenCV_VERSION HANDLE_COMPONENTS
  REASON_FAILURE_MESSAGE "Install libopencv-core-dev, libopencv-imgproc-dev and libopencv-imgcodecs-dev.")
