# Completes the installed files before they are packed.

set(folder ${CPACK_TEMPORARY_DIRECTORY})

if(CPACK_GENERATOR STREQUAL "DEB")
  # What every Debian package has.
  set(common ${folder}-common)
  file(REMOVE_RECURSE ${common})
  file(MAKE_DIRECTORY ${common})
  file(COPY_FILE ${CPACK_RESOURCE_FILE_LICENSE} ${common}/copyright)
  file(COPY_FILE ${CMAKE_CURRENT_LIST_DIR}/../CHANGELOG.md ${common}/changelog)
  string(TIMESTAMP date "%a, %d %b %Y %H:%M:%S +0000" UTC)
  file(WRITE ${common}/changelog.Debian "${CPACK_PACKAGE_NAME} (${CPACK_PACKAGE_VERSION}-\
${CPACK_DEBIAN_PACKAGE_RELEASE}) unstable; urgency=medium

  * See changelog.gz.

 -- ${CPACK_PACKAGE_CONTACT}  ${date}
")
  execute_process(COMMAND gzip -9n ${common}/changelog ${common}/changelog.Debian COMMAND_ERROR_IS_FATAL ANY)
  foreach(component IN LISTS CPACK_COMPONENTS_ALL)
    string(TOUPPER ${component} upper)
    file(COPY ${common}/ DESTINATION ${folder}/${component}/usr/share/doc/${CPACK_DEBIAN_${upper}_PACKAGE_NAME})
  endforeach()
  file(REMOVE_RECURSE ${common})

  # The library is where the linker looks, so callers need no run path.
  file(GLOB_RECURSE settings ${folder}/development/usr/lib/*.pc)
  file(READ ${settings} text)
  string(REGEX REPLACE " -Wl,-rpath,[^\n ]*" "" text "${text}")
  file(WRITE ${settings} "${text}")

  # The packages of the linked libraries. CPack would run two programs for each installed file to find out
  # which of them are linked.
  foreach(component IN ITEMS runtime program printer_app)
    set(top ${folder}/${component})
    file(GLOB linked ${top}/usr/bin/* ${top}/usr/lib/*.so.?.*)
    if(NOT linked AND NOT component STREQUAL "runtime")
      continue()  # it was not built
    endif()
    set(without)
    if(component STREQUAL "program")
      # The program loads the libraries that the library links, and contains the C++ library.
      list(APPEND linked ${libraries})
      set(without -xlibstdc++6 -xlibgcc-s1)
    endif()
    set(libraries ${linked})
    file(WRITE ${top}/debian/control "")  # must exist
    file(MAKE_DIRECTORY ${top}/DEBIAN)  # shows where the package's own libraries are
    execute_process(COMMAND dpkg-shlibdeps --ignore-missing-info ${without} -O ${linked} WORKING_DIRECTORY ${top}
                    OUTPUT_VARIABLE dependencies ERROR_VARIABLE warnings RESULT_VARIABLE code)
    file(REMOVE_RECURSE ${top}/debian ${top}/DEBIAN)
    if(NOT code EQUAL 0 OR NOT dependencies MATCHES "^shlibs:Depends=([^\n]+)")
      message(FATAL_ERROR "dpkg-shlibdeps failed with ${code}: ${warnings}")
    endif()
    set(dependencies ${CMAKE_MATCH_1})
    string(TOUPPER ${component} upper)
    string(JOIN ", " CPACK_DEBIAN_${upper}_PACKAGE_DEPENDS ${CPACK_DEBIAN_${upper}_PACKAGE_DEPENDS} ${dependencies})
  endforeach()
endif()

# ORV_SIGN is a shell command that signs the Windows file whose path is its last argument.
if(CPACK_SYSTEM_NAME STREQUAL "windows" AND NOT "$ENV{ORV_SIGN}" STREQUAL "")
  file(GLOB_RECURSE files ${folder}/*.dll ${folder}/*.exe)
  foreach(file IN LISTS files)
    execute_process(COMMAND sh -c "$ENV{ORV_SIGN} \"$1\"" sh ${file} RESULT_VARIABLE code)
    if(NOT code EQUAL 0)
      message(FATAL_ERROR "ORV_SIGN failed with ${code} for ${file}")
    endif()
  endforeach()
endif()
