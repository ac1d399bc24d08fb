# Installs the library for those who build with it. Included where its targets are made.

include(CMakePackageConfigHelpers)

# What an application or the author of a service needs, and what those headers include. The rest is
# the library's own affair.
set(public_headers
  client/client.h
  client/counters.h
  client/error.h
  client/main_loop.h
  client/observation.h
  client/options.h
  client/place.h
  client/result.h
  client/service_call.h
  dovi/deferred_request_source.h
  dovi/deployment_settings.h
  dovi/dovi_http_request_factory.h
  kesu/common/base/byte_order.h
  kesu/common/base/clock_interface.h
  kesu/common/base/data_input_stream.h
  kesu/common/base/data_output_stream.h
  kesu/common/base/gallocator.h
  kesu/common/base/gstring.h
  kesu/common/base/internal/async.h
  kesu/common/base/internal/gtime.h
  kesu/common/base/internal/life_watch.h
  kesu/common/base/internal/null_requester.h
  kesu/common/base/internal/posix_clock.h
  kesu/common/base/internal/request_adapter.h
  kesu/common/base/internal/steady_ticks.h
  kesu/common/base/logging.h
  kesu/common/base/memory.h
  kesu/common/base/request_interface.h
  kesu/common/base/scoped_ptr.h
  kesu/common/base/string_buffer.h
  kesu/common/base/string_format.h
  kesu/common/base/string_storage.h
  kesu/common/base/vector.h
  kesu/common/base/vector_impl.h
  kesu/common/net/proto/decode_budget.h
  kesu/common/net/proto/extension_registry.h
  kesu/common/net/proto/field_storage.h
  kesu/common/net/proto/message.h
  kesu/common/net/proto/message_descriptor.h
  kesu/common/net/proto/message_table.h
  kesu/common/net/proto/proto_util.h
  kesu/common/net/proto/table_message.h
  kesu/common/net/proto/wire_type.h
  kesu/common/net/proto/zigzag.h
  kesu/httptest/set_header_test.h
  kesu/mux/block.h
  kesu/mux/body_part.h
  kesu/mux/chunk_provider.h
  kesu/mux/gstring_header_field_iterator.h
  kesu/mux/header_field_iterator.h
  kesu/mux/header_field_iterator_interface.h
  kesu/mux/header_request.h
  kesu/mux/http_constants.h
  kesu/mux/http_request.h
  kesu/mux/http_request_factory.h
  kesu/mux/http_request_interface.h
  kesu/mux/http_response.h
  kesu/mux/http_utils.h
  kesu/mux/kesu_request_builder.h
  kesu/mux/kesu_response_parser.h
  kesu/mux/mobile_service_mux.h
  kesu/mux/multiplexed_post.h
  kesu/mux/mux_config.h
  kesu/mux/non_multipart_response.h
  kesu/mux/plain_request.h
  kesu/mux/post_index.h
  kesu/mux/request.h
  kesu/mux/request_list.h
  kesu/mux/request_place.h
  kesu/mux/request_scheduler.h
  kesu/mux/response.h
  kesu/mux/transport_error.h
  kesu/proto/lbs.h
  kesu/proto/lbs_cell_report.h
  kesu/proto/lbs_exchange.h
  kesu/proto/lbs_geocode.h
  kesu/proto/lbs_observation.h
  kesu/proto/lbs_position.h
  kesu/proto/lbs_reply.h
  kesu/proto/lbs_request.h
  kesu/proto/lbs_wifi_report.h
  kesu/proto/terrabase.h
  kesu/services/kesu_request_maker.h
  kesu/services/kesu_service_request.h
  kesu/services/lbs_service.h
  kesu/services/location_service.h
  kesu/services/request_reply_service_base.h
  kesu/services/reverse_geocode_service.h
  kesu/services/service_request_adapter.h
  kesu/services/vollen_service.h)

# Headers of a later series that breaks applications go beside these, not over them.
set(install_include_dir "${CMAKE_INSTALL_INCLUDEDIR}/kesu-1")
foreach(header IN LISTS public_headers)
  cmake_path(GET header PARENT_PATH folder)
  install(FILES "${header}" DESTINATION "${install_include_dir}/${folder}")
endforeach()
install(FILES "${CMAKE_CURRENT_BINARY_DIR}/kesu/version.h"
  DESTINATION "${install_include_dir}/kesu")

set(install_cmake_dir "${CMAKE_INSTALL_LIBDIR}/cmake/kesu")
# BUILD_SHARED_LIBS asks for one form; without it both are installed.
if(NOT BUILD_SHARED_LIBS)
  set(installed_forms Static)
endif()
if(TARGET kesu_shared)
  list(PREPEND installed_forms Shared)
endif()
foreach(form IN LISTS installed_forms)
  string(TOLOWER kesu_${form} target)
  install(TARGETS ${target} EXPORT kesu${form}Targets
    LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}"
    ARCHIVE DESTINATION "${CMAKE_INSTALL_LIBDIR}"
    INCLUDES DESTINATION "${install_include_dir}")
  install(EXPORT kesu${form}Targets NAMESPACE kesu:: DESTINATION "${install_cmake_dir}")
endforeach()
configure_package_config_file("${PROJECT_SOURCE_DIR}/cmake/kesuConfig.cmake.in" kesuConfig.cmake
  INSTALL_DESTINATION "${install_cmake_dir}"
  NO_SET_AND_CHECK_MACRO)
# Before 1.0 a minor version may break applications; the name of the shared library says so too.
write_basic_package_version_file(kesuConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES
  "${CMAKE_CURRENT_BINARY_DIR}/kesuConfig.cmake"
  "${CMAKE_CURRENT_BINARY_DIR}/kesuConfigVersion.cmake"
  DESTINATION "${install_cmake_dir}")

# Written when it is installed: only then is the prefix known for good.
set(KESU_PC_LIBDIR "\${prefix}")
cmake_path(APPEND KESU_PC_LIBDIR "${CMAKE_INSTALL_LIBDIR}")
set(KESU_PC_INCLUDEDIR "\${prefix}")
cmake_path(APPEND KESU_PC_INCLUDEDIR "${install_include_dir}")
set(KESU_PC_PREFIX "@KESU_PC_PREFIX@")
# Who links the static form links its dependencies too: with --static, or where there is no other.
set(KESU_PC_REQUIRES "glib-2.0")
set(KESU_PC_REQUIRES_PRIVATE "gio-2.0 libcurl icu-i18n icu-uc zlib")
if(NOT TARGET kesu_shared)
  string(APPEND KESU_PC_REQUIRES " ${KESU_PC_REQUIRES_PRIVATE}")
endif()
configure_file("${PROJECT_SOURCE_DIR}/cmake/kesu.pc.in" kesu.pc.in @ONLY)
install(CODE "
  set(KESU_PC_PREFIX \"\${CMAKE_INSTALL_PREFIX}\")
  configure_file(\"${CMAKE_CURRENT_BINARY_DIR}/kesu.pc.in\" \"${CMAKE_CURRENT_BINARY_DIR}/kesu.pc\" @ONLY)")
install(FILES "${CMAKE_CURRENT_BINARY_DIR}/kesu.pc"
  DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig")

install(FILES "${PROJECT_SOURCE_DIR}/docs/man/libkesu.3"
  DESTINATION "${CMAKE_INSTALL_MANDIR}/man3")
