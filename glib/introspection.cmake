# What other languages want of the library: Kesu-1.0.gir and .typelib, and kesu-glib-1.vapi for Vala.

find_program(KESU_G_IR_SCANNER g-ir-scanner REQUIRED)
find_program(KESU_G_IR_COMPILER g-ir-compiler REQUIRED)
find_program(KESU_VAPIGEN NAMES vapigen vapigen-0.56 REQUIRED)

set(gir "${CMAKE_CURRENT_BINARY_DIR}/Kesu-1.0.gir")
set(typelib "${CMAKE_CURRENT_BINARY_DIR}/Kesu-1.0.typelib")
set(vapi "${CMAKE_CURRENT_BINARY_DIR}/kesu-glib-1.vapi")
set(deps "${CMAKE_CURRENT_BINARY_DIR}/kesu-glib-1.deps")
list(TRANSFORM kesu_glib_headers PREPEND "${CMAKE_CURRENT_SOURCE_DIR}/" OUTPUT_VARIABLE scanned)

# The scanner builds and runs a small program of its own.
add_custom_command(OUTPUT "${gir}"
  COMMAND "${CMAKE_COMMAND}" -E env --unset=DESTDIR "CC=${CMAKE_C_COMPILER}"
    "${KESU_G_IR_SCANNER}" --quiet --warn-all --warn-error --no-libtool
    --namespace=Kesu --nsversion=1.0 --identifier-prefix=Kesu --symbol-prefix=kesu
    --include=Gio-2.0 --pkg=gio-2.0 --pkg-export=kesu-glib-1 --c-include=kesu-glib.h
    "-I${CMAKE_CURRENT_SOURCE_DIR}"
    "-L$<TARGET_FILE_DIR:kesu_glib>" --library=kesu-glib-1
    "--output=${gir}" ${scanned}
  DEPENDS kesu_glib ${scanned}
  VERBATIM)
add_custom_command(OUTPUT "${typelib}"
  COMMAND "${KESU_G_IR_COMPILER}" "--output=${typelib}" "${gir}"
  DEPENDS "${gir}"
  VERBATIM)
add_custom_command(OUTPUT "${vapi}" "${deps}"
  COMMAND "${KESU_VAPIGEN}" --quiet --library=kesu-glib-1 --pkg=gio-2.0
    "--directory=${CMAKE_CURRENT_BINARY_DIR}" "${gir}"
  COMMAND "${CMAKE_COMMAND}" -E echo gio-2.0 > "${deps}"
  DEPENDS "${gir}"
  VERBATIM)
add_custom_target(kesu_introspection ALL DEPENDS "${gir}" "${typelib}" "${vapi}" "${deps}")

if(KESU_INSTALL)
  install(FILES "${gir}" DESTINATION "${CMAKE_INSTALL_DATADIR}/gir-1.0")
  install(FILES "${typelib}" DESTINATION "${CMAKE_INSTALL_LIBDIR}/girepository-1.0")
  install(FILES "${vapi}" "${deps}" DESTINATION "${CMAKE_INSTALL_DATADIR}/vala/vapi")
endif()
