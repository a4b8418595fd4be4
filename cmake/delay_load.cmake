# Libraries of Windows that a program loads when it first calls them. Loading them takes longer than many of
# the program's commands.

# orv_delay_load(TARGET LIBRARY FUNCTION...): FUNCTION... are all functions of LIBRARY that TARGET calls. Any
# other one makes the system load it at the start, which the test pe-files reports.
function(orv_delay_load target library)
  list(JOIN ARGN "\n  " exports)
  set(base ${CMAKE_CURRENT_BINARY_DIR}/delayed_${library})
  file(CONFIGURE OUTPUT ${base}.def @ONLY CONTENT "LIBRARY ${library}\nEXPORTS\n  ${exports}\n")
  # The names of its symbols are made from the path as given: without the folder they are the same in every
  # build.
  add_custom_command(OUTPUT ${base}.a
                     COMMAND ${CMAKE_DLLTOOL} -d ${base}.def --output-delaylib delayed_${library}.a
                     DEPENDS ${base}.def WORKING_DIRECTORY ${CMAKE_CURRENT_BINARY_DIR} VERBATIM
                     COMMENT "Making the import library delayed_${library}.a")
  target_sources(${target} PRIVATE ${base}.a)
  set_property(TARGET ${target} APPEND PROPERTY LINK_DEPENDS ${base}.a)
  # Completely, so that the functions are found here before the system's import library is searched.
  target_link_options(${target} PRIVATE -Wl,--whole-archive,${base}.a,--no-whole-archive)
endfunction()
