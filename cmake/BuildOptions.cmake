# The compile and link options of all targets.

set(CMAKE_C_STANDARD 11)
set(CMAKE_C_STANDARD_REQUIRED ON)
set(CMAKE_C_EXTENSIONS OFF)
set(CMAKE_CXX_STANDARD 17)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

# x86-64 has it; other processors have other means or none, and compilers for them may reject the option.
include(CheckCXXCompilerFlag)
check_cxx_compiler_flag(-fcf-protection ZEMO_HAVE_CF_PROTECTION)

add_library(zemo_options INTERFACE)
target_compile_definitions(zemo_options INTERFACE _FILE_OFFSET_BITS=64 _GLIBCXX_ASSERTIONS)
target_compile_options(zemo_options INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wformat=2 -Wundef -Wvla
  $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor -Woverloaded-virtual>
  $<$<BOOL:${ZEMO_WERROR}>:-Werror>
  -fstack-protector-strong -fstack-clash-protection $<$<BOOL:${ZEMO_HAVE_CF_PROTECTION}>:-fcf-protection>
  # Assertions stay enabled: the conditions that they check must stop the process before it uses bad memory.
  -UNDEBUG)
target_link_options(zemo_options INTERFACE -Wl,-z,relro,-z,now -Wl,--as-needed)
# Clang links a sanitizer's runtime only into programs, so libraries have undefined symbols.
if(NOT (ZEMO_SANITIZE AND CMAKE_CXX_COMPILER_ID STREQUAL "Clang"))
  target_link_options(zemo_options INTERFACE -Wl,--no-undefined)
endif()

if(ZEMO_SANITIZE)
  target_compile_options(zemo_options INTERFACE
    -fsanitize=${ZEMO_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer -g1)
  target_link_options(zemo_options INTERFACE -fsanitize=${ZEMO_SANITIZE})
endif()

# Additional options for the libraries and the program. Fortification needs optimisation, and hides errors from
# sanitizers.
add_library(zemo_shipped_options INTERFACE)
target_link_libraries(zemo_shipped_options INTERFACE zemo_options)
if(NOT ZEMO_SANITIZE AND NOT ZEMO_COVERAGE AND NOT CMAKE_BUILD_TYPE STREQUAL "Debug")
  target_compile_options(zemo_shipped_options INTERFACE -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=3)
endif()

if(ZEMO_COVERAGE)
  if(NOT CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
    message(FATAL_ERROR "ZEMO_COVERAGE needs clang, which counts only the branches in the source")
  endif()
  # Atomic, because several threads, and processes with shared memory, count. The counts of each program and library are
  # merged into one file, independent of how and where it runs.
  target_compile_options(zemo_shipped_options INTERFACE
    -fprofile-instr-generate=${PROJECT_BINARY_DIR}/profiles/%m.profraw -fcoverage-mapping
    -fprofile-update=atomic -O0 -g)
  target_link_options(zemo_options INTERFACE -fprofile-instr-generate)
endif()

# zemo_exports(TARGET FILE): the library TARGET exports only the symbols in FILE.
function(zemo_exports target file)
  set_target_properties(${target} PROPERTIES
    C_VISIBILITY_PRESET hidden CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON
    LINK_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/${file})
  target_link_options(${target} PRIVATE
    -Wl,--version-script,${CMAKE_CURRENT_SOURCE_DIR}/${file})
endfunction()
