# What makes the exploitation of a mistake harder, in builds that are optimised. A Debian build has its
# own such flags, and no build type; sanitizers find more and want none of it.

if(NOT KESU_HARDENING OR KESU_SANITIZE)
  return()
endif()
include(CheckCXXCompilerFlag)
include(CheckPIESupported)

set(is_optimised "$<CONFIG:Release,RelWithDebInfo,MinSizeRel>")

# Those that a compiler or a processor may lack.
foreach(flag IN ITEMS
    -fstack-protector-strong -fstack-clash-protection -fcf-protection -mbranch-protection=standard)
  string(MAKE_C_IDENTIFIER "KESU_HAS${flag}" has_flag)
  check_cxx_compiler_flag(${flag} ${has_flag})
  if(${has_flag})
    add_compile_options("$<${is_optimised}:${flag}>")
  endif()
endforeach()
if(NOT CMAKE_CXX_FLAGS MATCHES "_FORTIFY_SOURCE")
  # Some compilers define it themselves.
  add_compile_options("$<${is_optimised}:-U_FORTIFY_SOURCE>" "$<${is_optimised}:-D_FORTIFY_SOURCE=2>")
endif()
add_link_options("$<${is_optimised}:LINKER:-z,relro>" "$<${is_optimised}:LINKER:-z,now>")
check_pie_supported(LANGUAGES CXX)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
