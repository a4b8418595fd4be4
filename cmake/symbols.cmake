# The debug information of packages, in files of their own, which GDB finds by the link in the stripped file.

option(ORV_SEPARATE_SYMBOLS "Move the debug information to separate files" OFF)
if(ORV_SEPARATE_SYMBOLS)
  include(GNUInstallDirs)
  # The folder of the build would make two builds differ.
  target_compile_options(orv_compiler INTERFACE -g
                         "-ffile-prefix-map=${PROJECT_SOURCE_DIR}=/usr/src/orv_shared")
endif()

# Moves the debug information of a library or program to a file beside it, which the component symbols has.
# Static libraries lose it.
function(orv_separate_symbols target)
  if(NOT ORV_SEPARATE_SYMBOLS)
    return()
  endif()
  set(file $<TARGET_FILE:${target}>)
  get_target_property(type ${target} TYPE)
  if(type STREQUAL "STATIC_LIBRARY")
    add_custom_command(TARGET ${target} POST_BUILD COMMAND ${CMAKE_STRIP} --strip-debug ${file} VERBATIM)
    return()
  endif()
  # Without -p the tools put the time into Windows files.
  add_custom_command(TARGET ${target} POST_BUILD VERBATIM
                     COMMAND ${CMAKE_OBJCOPY} -p --only-keep-debug ${file} ${file}.debug
                     COMMAND ${CMAKE_STRIP} -p ${file}
                     COMMAND ${CMAKE_OBJCOPY} -p --add-gnu-debuglink=${file}.debug ${file})
  set(folder ${CMAKE_INSTALL_BINDIR})
  if(type STREQUAL "SHARED_LIBRARY" AND NOT WIN32)
    set(folder ${CMAKE_INSTALL_LIBDIR})
  endif()
  install(FILES ${file}.debug DESTINATION ${folder}/.debug COMPONENT symbols EXCLUDE_FROM_ALL)
endfunction()
