# The compiler settings of every target of the project, as one interface target.

add_library(orv_compiler INTERFACE)
target_compile_features(orv_compiler INTERFACE cxx_std_20)
target_include_directories(orv_compiler INTERFACE "${PROJECT_SOURCE_DIR}/include"
                                                  "${PROJECT_BINARY_DIR}/include")

# A fused multiply-add rounds once instead of twice. Results must not depend on the instruction set, so
# contraction is disabled everywhere.
target_compile_options(orv_compiler INTERFACE -Wall -Wextra -Wshadow -Wnon-virtual-dtor
                                              -ffp-contract=off)
# A buffer overrun on the stack ends the process before the function returns.
target_compile_options(orv_compiler INTERFACE -fstack-protector-strong)
# Lets the compiler inline the library's own exported functions. By default a program could replace
# them, which prevents inlining.
target_compile_options(orv_compiler INTERFACE
                       "$<$<CXX_COMPILER_ID:GNU>:-fno-semantic-interposition>")
# Builds with symbols have line numbers and no variables (-g1), but GCC tracks the places of variables all
# the same, which takes an eighth of the compile time.
target_compile_options(orv_compiler INTERFACE "$<$<CXX_COMPILER_ID:GNU>:-fno-var-tracking>")
# Exported functions have C linkage even if they return C++ types.
target_compile_options(orv_compiler INTERFACE
                       "$<$<CXX_COMPILER_ID:Clang>:-Wno-return-type-c-linkage>")

if(WIN32)
  target_compile_definitions(orv_compiler INTERFACE UNICODE _UNICODE NOMINMAX WIN32_LEAN_AND_MEAN
                                                    _WIN32_WINNT=0x0601)
  # GCC stores 32-byte SIMD vectors on the 16-byte aligned Windows stack; the assembler option replaces
  # aligned moves by unaligned ones. The runtime is linked statically, so only system DLLs are imported.
  target_compile_options(orv_compiler INTERFACE -Wa,-muse-unaligned-vector-move)
  # Without time stamps two builds of the same sources give the same bytes.
  target_link_options(orv_compiler INTERFACE -static -Wl,--no-insert-timestamp)
  # Programs and libraries can be loaded at any address, and data is never executed.
  target_link_options(orv_compiler INTERFACE -Wl,--dynamicbase,--nxcompat)
  if(CMAKE_SIZEOF_VOID_P EQUAL 8)
    target_link_options(orv_compiler INTERFACE -Wl,--high-entropy-va)
  else()
    # The older floating-point unit rounds differently. Callers align the stack to 4 bytes only.
    target_compile_options(orv_compiler INTERFACE -msse2 -mfpmath=sse -mstackrealign)
  endif()
  target_link_libraries(orv_compiler INTERFACE orv_stack_guard)
endif()

set(ORV_SANITIZE "" CACHE STRING "Sanitizers to build with, in the form of -fsanitize")
if(ORV_SANITIZE)
  target_compile_options(orv_compiler INTERFACE -fsanitize=${ORV_SANITIZE} -fno-omit-frame-pointer
                                                -fno-sanitize-recover=all)
  # The default linker takes three times as long as lld to link a sanitized program. Sanitizers add millions of
  # pointers to it. At a fixed address they need no relocation, which halves the time that it takes to start.
  target_link_options(orv_compiler INTERFACE -fsanitize=${ORV_SANITIZE} -fuse-ld=lld
                      $<$<STREQUAL:$<TARGET_PROPERTY:TYPE>,EXECUTABLE>:-no-pie>)
  # Each test crosses more block boundaries (base/block_size.h).
  target_compile_definitions(orv_compiler INTERFACE ORV_TINY_BLOCKS)
endif()

# For code that need not be fast: reduces the compile time, especially with sanitizers.
if(ORV_SANITIZE)
  set(ORV_QUICK_BUILD -O0 -g1)
else()
  set(ORV_QUICK_BUILD -O1 -g1)
endif()
# With precompiled headers GCC 12 reports false positives in inlined string operations of the MinGW
# headers.
if(WIN32)
  list(APPEND ORV_QUICK_BUILD -Wno-array-bounds -Wno-stringop-overflow -Wno-stringop-overread)
endif()

# orv_compile_together(TARGET): compiles the sources of a target as one, which takes less time than each alone,
# unless the preset compiles every file by itself.
function(orv_compile_together target)
  if(NOT DEFINED CMAKE_UNITY_BUILD)
    set_target_properties(${target} PROPERTIES UNITY_BUILD ON UNITY_BUILD_BATCH_SIZE 0)
  endif()
endfunction()
