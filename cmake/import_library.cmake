# The import library and the .def file of the C interface for Microsoft's linker and compatible ones. They
# list only the functions of orv/c_api.h, because the C++ names are those of another compiler.

# orv_import_library(TARGET FOLDER): makes TARGET.lib and TARGET.def in FOLDER.
function(orv_import_library target folder)
  find_program(ORV_DLLTOOL llvm-dlltool REQUIRED)
  file(STRINGS ${PROJECT_SOURCE_DIR}/src/exports.txt names REGEX "^orv_[a-z0-9_]+$")
  set_property(DIRECTORY ${PROJECT_SOURCE_DIR} APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS
               ${PROJECT_SOURCE_DIR}/src/exports.txt)
  list(JOIN names "\n  " exports)
  file(CONFIGURE OUTPUT ${folder}/${target}.def @ONLY
       CONTENT "LIBRARY ${target}.dll\nEXPORTS\n  ${exports}\n")
  if(CMAKE_SIZEOF_VOID_P EQUAL 8)
    set(machine i386:x86-64)
  else()
    set(machine i386)
  endif()
  add_custom_command(OUTPUT ${folder}/${target}.lib
                     COMMAND ${ORV_DLLTOOL} -m ${machine} -D ${target}.dll -d ${target}.def
                             -l ${target}.lib
                     DEPENDS ${folder}/${target}.def WORKING_DIRECTORY ${folder} VERBATIM
                     COMMENT "Making the import library ${target}.lib")
  add_custom_target(${target}_import_library ALL DEPENDS ${folder}/${target}.lib)
  install(FILES ${folder}/${target}.lib ${folder}/${target}.def
          DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development)
endfunction()
