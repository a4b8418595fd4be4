# Completes the packages: if SOURCE_DATE_EPOCH is set, packages of the same files have the same bytes.

if(DEFINED ENV{SOURCE_DATE_EPOCH})
  foreach(package IN LISTS CPACK_PACKAGE_FILES)
    execute_process(COMMAND ${CMAKE_CURRENT_LIST_DIR}/repack ${package} ${CPACK_TEMPORARY_DIRECTORY}-repacked
                    COMMAND_ERROR_IS_FATAL ANY)
  endforeach()
endif()
