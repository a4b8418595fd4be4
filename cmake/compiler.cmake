# What every target of the project is compiled with, as one interface target.

add_library(orv_compiler INTERFACE)
target_compile_features(orv_compiler INTERFACE cxx_std_20)
target_include_directories(orv_compiler INTERFACE "${PROJECT_SOURCE_DIR}/include"
                                                  "${PROJECT_BINARY_DIR}/include")

# A fused multiply-add rounds once where the sources say twice; results must not depend on the
# instruction set, so contraction is off everywhere.
target_compile_options(orv_compiler INTERFACE -Wall -Wextra -Wshadow -Wnon-virtual-dtor
                                              -ffp-contract=off)
# The library's own calls go to its own functions, in line where that pays; exported names that a
# program could replace would forbid it.
target_compile_options(orv_compiler INTERFACE
                       "$<$<CXX_COMPILER_ID:GNU>:-fno-semantic-interposition>")
# Exported names are plain, whatever the functions behind them return.
target_compile_options(orv_compiler INTERFACE
                       "$<$<CXX_COMPILER_ID:Clang>:-Wno-return-type-c-linkage>")

if(WIN32)
  target_compile_definitions(orv_compiler INTERFACE UNICODE _UNICODE NOMINMAX WIN32_LEAN_AND_MEAN
                                                    _WIN32_WINNT=0x0601)
  # GCC keeps 32-byte vectors on the 16-byte aligned Windows stack; the assembler turns their
  # aligned moves into unaligned ones. Everything is linked in, so that only system DLLs are
  # imported.
  target_compile_options(orv_compiler INTERFACE -Wa,-muse-unaligned-vector-move)
  target_link_options(orv_compiler INTERFACE -static)
endif()

set(ORV_SANITIZE "" CACHE STRING "Sanitizers to build with, as -fsanitize takes them")
if(ORV_SANITIZE)
  target_compile_options(orv_compiler INTERFACE -fsanitize=${ORV_SANITIZE} -fno-omit-frame-pointer
                                                -fno-sanitize-recover=all)
  target_link_options(orv_compiler INTERFACE -fsanitize=${ORV_SANITIZE})
endif()

# For code that need not be fast, which the compiler is done with sooner so; most of all with
# sanitizers.
if(ORV_SANITIZE)
  set(ORV_QUICK_BUILD -O0 -g1)
else()
  set(ORV_QUICK_BUILD -O1 -g1)
endif()
