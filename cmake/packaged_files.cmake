# Completes the installed files before they are packed.

set(folder ${CPACK_TEMPORARY_DIRECTORY})

if(CPACK_GENERATOR STREQUAL "DEB")
  set(documents ${folder}/usr/share/doc/${CPACK_PACKAGE_NAME})
  file(RENAME ${documents}/LICENSE ${documents}/copyright)
  string(TIMESTAMP date "%a, %d %b %Y %H:%M:%S +0000" UTC)
  file(RENAME ${documents}/CHANGELOG.md ${documents}/changelog)
  file(WRITE ${documents}/changelog.Debian "${CPACK_PACKAGE_NAME} (${CPACK_PACKAGE_VERSION}-\
${CPACK_DEBIAN_PACKAGE_RELEASE}) unstable; urgency=medium

  * See CHANGELOG.md.

 -- ${CPACK_PACKAGE_CONTACT}  ${date}
")
  execute_process(COMMAND gzip -9n ${documents}/changelog ${documents}/changelog.Debian
                  COMMAND_ERROR_IS_FATAL ANY)

  # The packages of the linked libraries. CPack would run two programs for each installed file to find out
  # which of them are linked.
  file(GLOB linked ${folder}/usr/bin/*)
  file(GLOB_RECURSE libraries ${folder}/usr/lib/*.so.?.*)
  file(WRITE ${folder}/debian/control "")  # must exist
  file(MAKE_DIRECTORY ${folder}/DEBIAN)  # shows where the package's own libraries are
  execute_process(COMMAND dpkg-shlibdeps --ignore-missing-info -O ${linked} ${libraries} WORKING_DIRECTORY ${folder}
                  OUTPUT_VARIABLE dependencies ERROR_VARIABLE warnings RESULT_VARIABLE code)
  file(REMOVE_RECURSE ${folder}/debian ${folder}/DEBIAN)
  if(NOT code EQUAL 0 OR NOT dependencies MATCHES "^shlibs:Depends=([^\n]+)")
    message(FATAL_ERROR "dpkg-shlibdeps failed with ${code}: ${warnings}")
  endif()
  set(CPACK_DEBIAN_PACKAGE_DEPENDS ${CMAKE_MATCH_1})
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
