# Libraries that a program loads when it first calls them. Loading them takes longer than many of the program's
# commands.

# orv_delay_load(TARGET LIBRARY FUNCTION...): FUNCTION... are all functions of LIBRARY that TARGET calls. Any
# other one makes the system load it at the start, which the tests pe-files and command-line report. On Windows
# LIBRARY is the name of a system library. Elsewhere it is the path of a library that the target links anyway: on
# processors without stubs, and for static libraries, it still does.
function(orv_delay_load target library)
  if(WIN32)
    orv_delay_import(${target} ${library} ${ARGN})
    return()
  endif()
  execute_process(COMMAND ${CMAKE_OBJDUMP} -p ${library} OUTPUT_VARIABLE headers ERROR_QUIET)
  if(NOT CMAKE_SYSTEM_PROCESSOR MATCHES "^(x86_64|amd64)$" OR NOT headers MATCHES "SONAME +([^\n ]+)")
    return()
  endif()
  set(soname ${CMAKE_MATCH_1})
  list(TRANSFORM ARGN PREPEND "        delayed " OUTPUT_VARIABLE functions)
  list(JOIN functions "\n" functions)
  set(stubs ${CMAKE_CURRENT_BINARY_DIR}/delayed_${soname}.cpp)
  configure_file(${PROJECT_SOURCE_DIR}/src/platform/posix/delayed_library.cpp.in ${stubs} @ONLY)
  set_source_files_properties(${stubs} PROPERTIES SKIP_UNITY_BUILD_INCLUSION ON)  # they have the same labels
  target_sources(${target} PRIVATE ${stubs})
  # The stubs are found before the library, which then is not needed.
  target_link_options(${target} PRIVATE -Wl,--as-needed)
endfunction()

function(orv_delay_import target library)
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
