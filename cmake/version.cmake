# All version numbers come from the version of the CMake project.

configure_file(cmake/version.h.in include/orv/version.h @ONLY)

# orv_version_resource(TARGET TYPE DESCRIPTION): adds a version resource to a Windows library (VFT_DLL) or
# program (VFT_APP). Does nothing on Linux.
function(orv_version_resource target type description)
  if(NOT WIN32)
    return()
  endif()
  get_target_property(kind ${target} TYPE)
  set(suffix ".dll")
  if(kind STREQUAL "EXECUTABLE")
    set(suffix ".exe")
  endif()
  configure_file(${PROJECT_SOURCE_DIR}/cmake/version.rc.in ${target}_version.rc @ONLY)
  target_sources(${target} PRIVATE ${CMAKE_CURRENT_BINARY_DIR}/${target}_version.rc)
endfunction()
