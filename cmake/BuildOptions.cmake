# What all targets are compiled and linked with.

set(CMAKE_C_STANDARD 11)
set(CMAKE_C_STANDARD_REQUIRED ON)
set(CMAKE_C_EXTENSIONS OFF)
set(CMAKE_CXX_STANDARD 17)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

# x86-64 has it; other processors, for which a compiler may refuse the option, have other means or none.
include(CheckCXXCompilerFlag)
check_cxx_compiler_flag(-fcf-protection ZEMO_HAVE_CF_PROTECTION)

add_library(zemo_options INTERFACE)
target_compile_definitions(zemo_options INTERFACE _FILE_OFFSET_BITS=64 _GLIBCXX_ASSERTIONS)
target_compile_options(zemo_options INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wformat=2 -Wundef -Wvla
  $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor -Woverloaded-virtual>
  $<$<BOOL:${ZEMO_WERROR}>:-Werror>
  -fstack-protector-strong -fstack-clash-protection $<$<BOOL:${ZEMO_HAVE_CF_PROTECTION}>:-fcf-protection>
  # Assertions stay on: what they guard against must stop the process, not go on with bad memory.
  -UNDEBUG)
target_link_options(zemo_options INTERFACE -Wl,-z,relro,-z,now -Wl,--as-needed)
# Clang links a sanitizer's runtime with programs only, so that libraries are left with undefined names.
if(NOT (ZEMO_SANITIZE AND CMAKE_CXX_COMPILER_ID STREQUAL "Clang"))
  target_link_options(zemo_options INTERFACE -Wl,--no-undefined)
endif()

if(ZEMO_SANITIZE)
  target_compile_options(zemo_options INTERFACE
    -fsanitize=${ZEMO_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer -g1)
  target_link_options(zemo_options INTERFACE -fsanitize=${ZEMO_SANITIZE})
endif()

# What the libraries and the program are compiled with beside that. Fortification needs optimisation, and
# hides from sanitizers what they are there to see.
add_library(zemo_shipped_options INTERFACE)
target_link_libraries(zemo_shipped_options INTERFACE zemo_options)
if(NOT ZEMO_SANITIZE AND NOT ZEMO_COVERAGE AND NOT CMAKE_BUILD_TYPE STREQUAL "Debug")
  target_compile_options(zemo_shipped_options INTERFACE -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=3)
endif()

if(ZEMO_COVERAGE)
  if(NOT CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
    message(FATAL_ERROR "ZEMO_COVERAGE needs clang, which counts the branches that stand in the source alone")
  endif()
  # Atomic, because several threads, and processes that share memory, count. The counts of each program
  # and library are added up in one file, wherever and by whatever it is run.
  target_compile_options(zemo_shipped_options INTERFACE
    -fprofile-instr-generate=${PROJECT_BINARY_DIR}/profiles/%m.profraw -fcoverage-mapping
    -fprofile-update=atomic -O0 -g)
  target_link_options(zemo_options INTERFACE -fprofile-instr-generate)
endif()

# zemo_exports(TARGET FILE): the symbols that FILE names are all that the library TARGET exports.
function(zemo_exports target file)
  set_target_properties(${target} PROPERTIES
    C_VISIBILITY_PRESET hidden CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON
    LINK_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/${file})
  target_link_options(${target} PRIVATE
    -Wl,--version-script,${CMAKE_CURRENT_SOURCE_DIR}/${file})
endfunction()
