# Finds the camera SDK: OrbbecSDK_FOUND and the target OrbbecSDK::OrbbecSDK. Looks below OrbbecSDK_ROOT, ORBBEC_SDK_DIR
# (variable or environment) and the system's folders. The library's file name carries the version.
set(orbbec_hints ${OrbbecSDK_ROOT} ${ORBBEC_SDK_DIR} $ENV{OrbbecSDK_ROOT} $ENV{ORBBEC_SDK_DIR} /opt/OrbbecSDK)

find_path(OrbbecSDK_INCLUDE_DIR NAMES libobsensor/ObSensor.h HINTS ${orbbec_hints} PATH_SUFFIXES include)
find_library(OrbbecSDK_LIBRARY NAMES OrbbecSDK libOrbbecSDK.so.2 HINTS ${orbbec_hints}
  PATH_SUFFIXES lib lib/${CMAKE_LIBRARY_ARCHITECTURE})
mark_as_advanced(OrbbecSDK_INCLUDE_DIR OrbbecSDK_LIBRARY)

if(OrbbecSDK_LIBRARY)
  file(REAL_PATH "${OrbbecSDK_LIBRARY}" orbbec_file)
  if(orbbec_file MATCHES "\\.so\\.([0-9.]+)$")
    set(OrbbecSDK_VERSION "${CMAKE_MATCH_1}")
  endif()
endif()

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(OrbbecSDK
  REQUIRED_VARS OrbbecSDK_LIBRARY OrbbecSDK_INCLUDE_DIR VERSION_VAR OrbbecSDK_VERSION HANDLE_VERSION_RANGE)

if(OrbbecSDK_FOUND AND NOT TARGET OrbbecSDK::OrbbecSDK)
  add_library(OrbbecSDK::OrbbecSDK UNKNOWN IMPORTED)
  set_target_properties(OrbbecSDK::OrbbecSDK PROPERTIES
    IMPORTED_LOCATION "${OrbbecSDK_LIBRARY}" INTERFACE_INCLUDE_DIRECTORIES "${OrbbecSDK_INCLUDE_DIR}")
endif()
