#include "kesu-error.h"

#include <array>

#include "client/error.h"

#include "conversions.h"

namespace {

using kesu::ErrorKind;

/// The codes and the kinds that they stand for.
struct Code {
  KesuError code;
  ErrorKind kind;
  const char* name;
};

constexpr std::array kCodes = {
    Code{KESU_ERROR_NOT_FOUND, ErrorKind::kNotFound, "KESU_ERROR_NOT_FOUND"},
    Code{KESU_ERROR_CANNOT_CONNECT, ErrorKind::kCannotConnect, "KESU_ERROR_CANNOT_CONNECT"},
    Code{KESU_ERROR_CANNOT_RESOLVE, ErrorKind::kCannotResolve, "KESU_ERROR_CANNOT_RESOLVE"},
    Code{KESU_ERROR_TLS, ErrorKind::kTls, "KESU_ERROR_TLS"},
    Code{KESU_ERROR_TIMED_OUT, ErrorKind::kTimedOut, "KESU_ERROR_TIMED_OUT"},
    Code{KESU_ERROR_SERVER, ErrorKind::kServer, "KESU_ERROR_SERVER"},
    Code{KESU_ERROR_MALFORMED, ErrorKind::kMalformed, "KESU_ERROR_MALFORMED"},
    Code{KESU_ERROR_WITHHELD, ErrorKind::kWithheld, "KESU_ERROR_WITHHELD"},
    Code{KESU_ERROR_MISUSE, ErrorKind::kMisuse, "KESU_ERROR_MISUSE"},
};
// All but those of no error and of cancellation.
static_assert(kCodes.size() == kesu::kErrorKindCount - 2);

GType RegisterErrors() {
  // With an end of zeros.
  static std::array<GEnumValue, kCodes.size() + 1> values = {};
  for (std::size_t i = 0; i < kCodes.size(); ++i) {
    values[i] = {kCodes[i].code, kCodes[i].name, kesu::ErrorKindName(kCodes[i].kind)};
  }
  return g_enum_register_static("KesuError", values.data());
}

GType RegisterLogLevels() {
  static const GEnumValue kValues[] = {
      {KESU_LOG_LEVEL_NONE, "KESU_LOG_LEVEL_NONE", "none"},
      {KESU_LOG_LEVEL_ERRORS, "KESU_LOG_LEVEL_ERRORS", "errors"},
      {KESU_LOG_LEVEL_WARNINGS, "KESU_LOG_LEVEL_WARNINGS", "warnings"},
      {KESU_LOG_LEVEL_INFORMATION, "KESU_LOG_LEVEL_INFORMATION", "information"},
      {KESU_LOG_LEVEL_DEBUG, "KESU_LOG_LEVEL_DEBUG", "debug"},
      {}};
  return g_enum_register_static("KesuLogLevel", kValues);
}

}  // namespace

GQuark kesu_error_quark() {
  return g_quark_from_static_string("kesu-error-quark");
}

GType kesu_error_get_type() {
  static const GType kType = RegisterErrors();
  return kType;
}

GType kesu_log_level_get_type() {
  static const GType kType = RegisterLogLevels();
  return kType;
}

namespace kesu_glib {

ErrorKind KindOf(KesuError code) {
  for (const Code& row : kCodes) {
    if (row.code == code) return row.kind;
  }
  return ErrorKind::kNone;
}

GError* NewError(const kesu::Error& error) {
  for (const Code& row : kCodes) {
    if (row.kind == error.kind) {
      return g_error_new_literal(KESU_ERROR, row.code, error.message.c_str());
    }
  }
  return g_error_new_literal(G_IO_ERROR, G_IO_ERROR_CANCELLED, error.message.c_str());
}

}  // namespace kesu_glib
