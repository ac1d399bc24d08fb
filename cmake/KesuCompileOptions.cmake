# Options that hold for every target of the project: warnings, sanitizers, paths in messages.

cmake_path(RELATIVE_PATH PROJECT_SOURCE_DIR BASE_DIRECTORY "${PROJECT_BINARY_DIR}"
  OUTPUT_VARIABLE source_from_build)
add_library(kesu_compile_options INTERFACE)
target_compile_options(kesu_compile_options INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wno-sign-conversion
  $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor> $<$<COMPILE_LANGUAGE:CXX>:-Woverloaded-virtual>
  $<$<COMPILE_LANGUAGE:CXX>:-Wold-style-cast>
  # Source paths in assertion lines are relative to the repository, also where ccache has made them
  # relative to the build folder.
  "-fmacro-prefix-map=${PROJECT_SOURCE_DIR}/="
  "-fmacro-prefix-map=${source_from_build}/="
  # The dynamic linker would never unload a library with such symbols; only g++ makes them.
  $<$<COMPILE_LANG_AND_ID:CXX,GNU>:-fno-gnu-unique>)
if(KESU_WARNINGS_AS_ERRORS)
  target_compile_options(kesu_compile_options INTERFACE -Werror)
endif()

if(KESU_SANITIZE)
  add_compile_options("-fsanitize=${KESU_SANITIZE}" -fno-omit-frame-pointer -fno-sanitize-recover=all)
  add_link_options("-fsanitize=${KESU_SANITIZE}")
endif()
