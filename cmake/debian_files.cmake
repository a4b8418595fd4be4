# Adds the files that only Debian packages contain, before the package is built.

if(NOT CPACK_GENERATOR STREQUAL "DEB")
  return()
endif()
set(folder ${CPACK_TEMPORARY_DIRECTORY}/usr/share/doc/${CPACK_PACKAGE_NAME})
file(RENAME ${folder}/LICENSE ${folder}/copyright)
string(TIMESTAMP date "%a, %d %b %Y %H:%M:%S +0000" UTC)
file(RENAME ${folder}/CHANGELOG.md ${folder}/changelog)
file(WRITE ${folder}/changelog.Debian "${CPACK_PACKAGE_NAME} (${CPACK_PACKAGE_VERSION}-\
${CPACK_DEBIAN_PACKAGE_RELEASE}) unstable; urgency=medium

  * See CHANGELOG.md.

 -- ${CPACK_PACKAGE_CONTACT}  ${date}
")
execute_process(COMMAND gzip -9n ${folder}/changelog ${folder}/changelog.Debian
                COMMAND_ERROR_IS_FATAL ANY)
