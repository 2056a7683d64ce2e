# Compiles the public headers as callers do. The build fails if a header depends on another one being included first, or
# causes warnings with a caller's options.

set(caller_warnings -Wall -Wextra -Wpedantic -Werror)
set(header_dir ${CMAKE_CURRENT_BINARY_DIR}/headers)

# header_source(NAME HEADER...): generates a source that includes the headers in this order.
function(header_source name)
  list(TRANSFORM ARGN PREPEND "#include <")
  list(TRANSFORM ARGN APPEND ">\n")
  list(JOIN ARGN "" text)
  # ISO C forbids a source without a declaration.
  file(CONFIGURE OUTPUT ${header_dir}/${name} CONTENT "${text}typedef int source_is_not_empty;\n")
endfunction()

# header_library(TARGET SOURCE...): compiles generated sources with only a caller's options.
function(header_library target)
  list(TRANSFORM ARGN PREPEND ${header_dir}/)
  add_library(${target} OBJECT ${ARGN})
  target_include_directories(${target} PRIVATE ${PROJECT_SOURCE_DIR}/include)
  target_link_libraries(${target} PRIVATE Boost::headers)
  target_compile_options(${target} PRIVATE ${caller_warnings})
endfunction()

file(GLOB_RECURSE public_headers CONFIGURE_DEPENDS
  RELATIVE ${PROJECT_SOURCE_DIR}/include ${PROJECT_SOURCE_DIR}/include/zemo/*.h)
list(SORT public_headers)

# Each header alone, included twice; and each before and after every other one.
set(cxx_sources all.cpp all_reversed.cpp)
foreach(header IN LISTS public_headers)
  string(MAKE_C_IDENTIFIER ${header} name)
  header_source(${name}.cpp ${header} ${header})
  list(APPEND cxx_sources ${name}.cpp)
endforeach()
header_source(all.cpp ${public_headers})
list(REVERSE public_headers)
header_source(all_reversed.cpp ${public_headers})
header_library(headers_cxx ${cxx_sources})

# The headers for C callers.
set(c_headers zemo/core.h zemo/export.h zemo/selfcheck/self_check_files.h)
set(c_sources)
foreach(header IN LISTS c_headers)
  string(MAKE_C_IDENTIFIER ${header} name)
  header_source(${name}.c ${header} ${header})
  list(APPEND c_sources ${name}.c)
endforeach()
header_source(all_c.c ${c_headers})
list(REVERSE c_headers)
header_source(all_c_reversed.c ${c_headers})
header_library(headers_c ${c_sources} all_c.c all_c_reversed.c)
target_compile_options(headers_c PRIVATE -Wstrict-prototypes)
