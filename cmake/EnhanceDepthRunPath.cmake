# Where binaries look for libraries. CMake pads the run path of installed binaries with an empty element, so that another
# path fits in at installation. The dynamic linker takes that element for the current folder: a program started in
# somebody else's folder would load libraries from there. Hence these two functions.

# set_run_path(TARGET [INSTALLED element...] BUILT folder...): the target finds libraries in `folder`s, and once it is
# installed in the INSTALLED elements alone.
function(set_run_path target)
  cmake_parse_arguments(PARSE_ARGV 1 run_path "" "" "INSTALLED;BUILT")
  # Including the INSTALLED elements makes the run path long enough to be replaced by them.
  set_target_properties(${target} PROPERTIES
    BUILD_WITH_INSTALL_RPATH ON INSTALL_RPATH "${run_path_INSTALLED};${run_path_BUILT}"
    ENHANCE_DEPTH_INSTALLED_RUN_PATH "${run_path_INSTALLED}")
endfunction()

# install_run_path(TARGET DESTINATION COMPONENT): to be called after install(TARGETS).
function(install_run_path target destination component)
  get_target_property(elements ${target} ENHANCE_DEPTH_INSTALLED_RUN_PATH)
  if(NOT elements OR CMAKE_SKIP_RPATH OR CMAKE_SKIP_INSTALL_RPATH)
    set(change "file(RPATH_REMOVE FILE \"\${file}\")")
  else()
    list(JOIN elements ":" elements)
    string(REPLACE "$" "\\$" elements "${elements}")
    set(change "file(RPATH_SET FILE \"\${file}\" NEW_RPATH \"${elements}\")")
  endif()
  install(CODE "set(file \"${destination}/$<TARGET_FILE_NAME:${target}>\")
cmake_path(ABSOLUTE_PATH file BASE_DIRECTORY \"\${CMAKE_INSTALL_PREFIX}\")
string(PREPEND file \"\$ENV{DESTDIR}\")
${change}" COMPONENT ${component})
endfunction()
