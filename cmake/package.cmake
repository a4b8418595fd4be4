# Packages of the installed files: Debian packages and a .tar.gz for Linux, a .zip for Windows. A further
# archive has the debug information.

set(ORV_32BIT_BUILD "" CACHE PATH "The build of the 32-bit library that the Windows package also contains")

set(CPACK_PACKAGE_NAME orv-shared)
set(CPACK_PACKAGE_VENDOR "the orv_shared authors")
# The maintainer of a package is the person who builds it: DEBFULLNAME and DEBEMAIL, as in Debian's tools
# (DEBEMAIL may contain the name too), or else the author of the last commit. If only the name or only the
# address is set, the other one is taken from the current user, so both belong to one person.
set(name "$ENV{DEBFULLNAME}")
set(mail "$ENV{DEBEMAIL}")
if(NOT name AND NOT mail)
  execute_process(COMMAND git log -1 "--format=%an <%ae>" WORKING_DIRECTORY ${PROJECT_SOURCE_DIR}
                  ERROR_QUIET OUTPUT_VARIABLE mail OUTPUT_STRIP_TRAILING_WHITESPACE)
endif()
if(NOT name)
  set(name "$ENV{USER}")
endif()
if(NOT mail)
  cmake_host_system_information(RESULT host QUERY FQDN)
  set(mail "$ENV{USER}@${host}")
endif()
if(mail MATCHES "<.*>")
  set(CPACK_PACKAGE_CONTACT "${mail}")
else()
  set(CPACK_PACKAGE_CONTACT "${name} <${mail}>")
endif()
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")  # each Debian package has its own
set(CPACK_RESOURCE_FILE_LICENSE ${PROJECT_SOURCE_DIR}/LICENSE)
if(NOT ORV_SEPARATE_SYMBOLS)
  set(CPACK_STRIP_FILES ON)
endif()
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ
                                                GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_INSTALL_CMAKE_PROJECTS "${PROJECT_BINARY_DIR};${PROJECT_NAME};ALL;/")
if(WIN32)
  set(CPACK_SYSTEM_NAME windows)
  set(CPACK_GENERATOR ZIP)
  set(archive ZIP)
  if(ORV_32BIT_BUILD)
    foreach(component IN ITEMS runtime resources development)
      list(APPEND CPACK_INSTALL_CMAKE_PROJECTS "${ORV_32BIT_BUILD};${PROJECT_NAME};${component};/")
    endforeach()
  endif()
else()
  set(CPACK_SYSTEM_NAME linux-${CMAKE_SYSTEM_PROCESSOR})
  set(CPACK_GENERATOR DEB TGZ)
  set(archive TGZ)
endif()

# A Debian package for each component; the archives contain all of them.
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_SOURCE ${CPACK_PACKAGE_NAME})
set(CPACK_COMPONENTS_ALL)

# orv_debian_package(COMPONENT NAME SECTION SUMMARY TEXT)
macro(orv_debian_package component name section summary text)
  list(APPEND CPACK_COMPONENTS_ALL ${component})
  string(TOUPPER ${component} upper)
  set(CPACK_DEBIAN_${upper}_PACKAGE_NAME ${name})
  set(CPACK_DEBIAN_${upper}_PACKAGE_SECTION ${section})
  set(CPACK_DEBIAN_${upper}_DESCRIPTION "${summary}\n${text}")
endmacro()
# The library's name follows its SONAME, so that two versions can be installed at once. Files whose names are
# the same in both are in another package.
set(library_package liborv-shared${PROJECT_VERSION_MAJOR})
orv_debian_package(runtime ${library_package} libs "core of a label-printer driver"
"Reads printer configuration files, keeps the driver's settings records in
order, prepares page images and writes the log.")
orv_debian_package(resources orv-shared-data libs "texts and pictures of a label-printer driver"
"The resources that liborv_shared loads.")
orv_debian_package(development liborv-shared-dev libdevel "core of a label-printer driver, development files"
"The headers of liborv_shared, its static library, and what CMake and
pkg-config need. To link the static library, install the suggested packages.")
if(ORV_BUILD_TOOLS)
  orv_debian_package(program orv utils "configurations, settings and pages of label printers"
"Checks and writes printer configuration files, explains settings records
and logs, and shows and measures what a page looks like when it is printed.")
endif()
if(TARGET orv_printer_app)
  orv_debian_package(printer_app orv-printer-app utils "IPP printers for label printers"
"A server that makes each label printer an IPP Everywhere printer. Its
drivers are the printers' configuration files.")
endif()
orv_debian_package(documents orv-shared-doc doc "core of a label-printer driver, documents and examples"
"Describes the library, the orv program and their file formats.")
set(CPACK_DEBIAN_RESOURCES_PACKAGE_ARCHITECTURE all)
set(CPACK_DEBIAN_DOCUMENTS_PACKAGE_ARCHITECTURE all)

set(same "(= ${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE})")
# The resources of a later version serve the library too.
set(CPACK_DEBIAN_RUNTIME_PACKAGE_DEPENDS "orv-shared-data (>= ${PROJECT_VERSION})")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "${library_package} ${same}")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SUGGESTS
    "libdeflate-dev, libpng-dev, libsqlite3-dev, libssl-dev, zlib1g-dev, orv-shared-doc")
file(WRITE ${PROJECT_BINARY_DIR}/debian/triggers "activate-noawait ldconfig\n")
file(WRITE ${PROJECT_BINARY_DIR}/debian/shlibs
     "liborv_shared ${PROJECT_VERSION_MAJOR} ${library_package} (>= ${PROJECT_VERSION})\n")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA ${PROJECT_BINARY_DIR}/debian/triggers
                                               ${PROJECT_BINARY_DIR}/debian/shlibs)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_PRE_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/cmake/packaged_files.cmake)
set(CPACK_POST_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/cmake/made_packages.cmake)

include(CPack)

# The archive of the debug information has a configuration of its own.
set(symbols)
foreach(build IN ITEMS ${PROJECT_BINARY_DIR} ${ORV_32BIT_BUILD})
  list(APPEND symbols "${build};${PROJECT_NAME};symbols;/")
endforeach()
file(WRITE ${PROJECT_BINARY_DIR}/CPackSymbols.cmake "include(\"${PROJECT_BINARY_DIR}/CPackConfig.cmake\")
set(CPACK_GENERATOR ${archive})
set(CPACK_INSTALL_CMAKE_PROJECTS \"${symbols}\")
string(APPEND CPACK_PACKAGE_FILE_NAME -symbols)
")
