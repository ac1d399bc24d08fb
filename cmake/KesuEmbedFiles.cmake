# kesu_embed_files(TARGET HEADER FUNCTION NAME=PATH...): a static library with the function of that header,
# `std::span<const EmbeddedFile> FUNCTION()`, which yields the files in the order given. PATH is absolute; it may be
# made by the build. The assembler reads the files, so that size costs no time, and the same files make the same bytes.
function(kesu_embed_files target header function)
  set(assembly "")
  set(symbols "")
  set(rows "")
  set(paths "")
  set(number 0)
  foreach(file IN LISTS ARGN)
    if(NOT file MATCHES "^([^=]+)=(.+\\.([a-z]+))$")
      message(FATAL_ERROR "kesu_embed_files: ${file} is not NAME=PATH")
    endif()
    set(name "${CMAKE_MATCH_1}")
    set(path "${CMAKE_MATCH_2}")
    set(type_of_html "text/html; charset=utf-8")
    set(type_of_css "text/css; charset=utf-8")
    set(type_of_js "text/javascript; charset=utf-8")
    set(type_of_json "application/json")
    set(type_of_svg "image/svg+xml")
    set(type "${type_of_${CMAKE_MATCH_3}}")
    if(type STREQUAL "")
      message(FATAL_ERROR "kesu_embed_files: no media type is known for ${path}")
    endif()
    foreach(edge IN ITEMS begin end)
      set(symbol "${target}_${number}_${edge}")
      string(APPEND symbols "extern \"C\" __attribute__((visibility(\"hidden\"))) const char ${symbol}[];\n")
      string(APPEND assembly "    \".global ${symbol}\\n.hidden ${symbol}\\n${symbol}:\\n\"\n")
      if(edge STREQUAL "begin")
        string(APPEND assembly "    \".incbin \\\"${path}\\\"\\n\"\n")
      endif()
    endforeach()
    string(APPEND rows
      "      {\"${name}\", \"${type}\", Between(${target}_${number}_begin, ${target}_${number}_end)},\n")
    list(APPEND paths "${path}")
    math(EXPR number "${number} + 1")
  endforeach()
  set(source "${CMAKE_CURRENT_BINARY_DIR}/${target}.cc")
  file(CONFIGURE OUTPUT "${source}" @ONLY CONTENT [[
#include "@header@"

#include <cstddef>

__asm__(
    ".pushsection .rodata\n"
@assembly@    ".byte 0\n"
    ".popsection\n");

@symbols@
namespace {

std::string_view Between(const char* begin, const char* end) {
  return {begin, static_cast<std::size_t>(end - begin)};
}

}  // namespace

std::span<const EmbeddedFile> @function@() {
  static const EmbeddedFile kFiles[] = {
@rows@  };
  return kFiles;
}
]])
  set_source_files_properties("${source}" PROPERTIES OBJECT_DEPENDS "${paths}")
  add_library(${target} STATIC "${source}")
  target_include_directories(${target} PUBLIC "${PROJECT_SOURCE_DIR}")
  target_link_libraries(${target} PRIVATE kesu_compile_options)
endfunction()
