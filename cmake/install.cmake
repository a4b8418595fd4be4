# The installed files and their locations. The components are runtime and resources (the library for
# programs), development (headers and build files), program (orv), printer_app and documents. Files refer to each other
# by relative paths, so the installation can be moved.

include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

# Callers may include everything below include/. On Linux the library's own headers define the Windows
# types.
if(WIN32)
  set(other_system PATTERN posix EXCLUDE)
endif()
install(DIRECTORY include/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development
        FILES_MATCHING PATTERN *.h ${other_system})
install(FILES ${PROJECT_BINARY_DIR}/include/orv/version.h
        DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/orv COMPONENT development)

install(TARGETS orv_shared EXPORT orv_shared_shared
        RUNTIME COMPONENT runtime
        LIBRARY COMPONENT runtime NAMELINK_COMPONENT development
        ARCHIVE COMPONENT development
        INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(TARGETS orv_static EXPORT orv_shared_static
        ARCHIVE COMPONENT development
        INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
if(WIN32)
  include(cmake/import_library.cmake)
  orv_import_library(orv_shared ${PROJECT_BINARY_DIR}/lib)
endif()
# The library loads its resources from its own folder.
if(WIN32)
  set(library_folder ${CMAKE_INSTALL_BINDIR})
else()
  set(library_folder ${CMAKE_INSTALL_LIBDIR})
endif()
install(FILES ${PROJECT_BINARY_DIR}/lib/orv_resources.dll DESTINATION ${library_folder}
        COMPONENT resources)

if(NOT WIN32)
  set(static_packages OpenSSL PNG SQLite3)
  set(static_libraries deflate)  # those without CMake files
endif()
set(package_folder ${CMAKE_INSTALL_LIBDIR}/cmake/orv_shared)
foreach(library IN ITEMS shared static)
  install(EXPORT orv_shared_${library} FILE orv_shared-${library}.cmake NAMESPACE orv::
          DESTINATION ${package_folder} COMPONENT development)
endforeach()
write_basic_package_version_file(${PROJECT_BINARY_DIR}/orv_shared-config-version.cmake
                                 COMPATIBILITY SameMajorVersion)
configure_file(cmake/orv_shared-config.cmake.in orv_shared-config.cmake @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/orv_shared-config.cmake
              ${PROJECT_BINARY_DIR}/orv_shared-config-version.cmake
        DESTINATION ${package_folder} COMPONENT development)

file(RELATIVE_PATH pc_prefix /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
if(WIN32)
  set(pc_libraries "-l:liborv_shared.dll.a -lgdiplus")  # a file name is also found with -static
else()
  # With the run path, programs find the library in any folder.
  set(pc_libraries "-lorv_shared -Wl,-rpath,\${libdir}")
  # Also what these libraries need. Requires.private would ask callers of the shared library for them.
  set(pc_static_libraries "-lcrypto -ldeflate -lpng -lsqlite3 -lz -lm -ldl -pthread")
endif()
configure_file(cmake/orv_shared.pc.in orv_shared.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/orv_shared.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
        COMPONENT development)

if(ORV_BUILD_TOOLS)
  install(TARGETS orv RUNTIME COMPONENT program)
endif()
if(TARGET orv_printer_app)
  install(TARGETS orv_printer_app RUNTIME COMPONENT printer_app)
  install(FILES ${PROJECT_BINARY_DIR}/tools/printer_app/orv-printer-app.1.gz COMPONENT printer_app
          DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
endif()
if(TARGET manual)
  install(DIRECTORY ${PROJECT_BINARY_DIR}/man/ DESTINATION ${CMAKE_INSTALL_MANDIR}/man1
          COMPONENT program)
  set(completion tools/orv/completion)
  install(FILES ${completion}/orv.bash COMPONENT program RENAME orv
          DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)
  install(FILES ${completion}/_orv COMPONENT program
          DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/vendor-completions)
  install(FILES ${completion}/orv.fish COMPONENT program
          DESTINATION ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d)
endif()

set(documents_folder ${CMAKE_INSTALL_DATADIR}/doc/orv-shared)
install(FILES README.md CHANGELOG.md CONTRIBUTING.md SECURITY.md LICENSE DESTINATION ${documents_folder}
        COMPONENT documents)
install(DIRECTORY docs examples DESTINATION ${documents_folder} COMPONENT documents)
