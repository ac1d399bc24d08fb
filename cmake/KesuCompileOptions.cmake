# Options that hold for every target of the project: warnings, sanitizers, paths in messages.

add_library(kesu_compile_options INTERFACE)
target_compile_options(kesu_compile_options INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wno-sign-conversion
  -Wnon-virtual-dtor -Woverloaded-virtual -Wold-style-cast
  # Source paths in assertion lines are relative to the repository.
  "-fmacro-prefix-map=${PROJECT_SOURCE_DIR}/=")
if(KESU_WARNINGS_AS_ERRORS)
  target_compile_options(kesu_compile_options INTERFACE -Werror)
endif()

if(KESU_SANITIZE)
  add_compile_options("-fsanitize=${KESU_SANITIZE}" -fno-omit-frame-pointer -fno-sanitize-recover=all)
  add_link_options("-fsanitize=${KESU_SANITIZE}")
endif()
