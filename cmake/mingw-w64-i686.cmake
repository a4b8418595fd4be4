# Builds for 32-bit Windows, as cmake/mingw-w64.cmake does for 64-bit Windows.
set(CMAKE_SYSTEM_PROCESSOR i686)
include(${CMAKE_CURRENT_LIST_DIR}/mingw-w64.cmake)
