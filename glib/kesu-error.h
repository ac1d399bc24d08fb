#ifndef KESU_ERROR_H_
#define KESU_ERROR_H_

#include <glib-object.h>

G_BEGIN_DECLS

/**
 * KesuError:
 * @KESU_ERROR_NOT_FOUND: the service answered: it knows no position, or no place there
 * @KESU_ERROR_CANNOT_CONNECT: refused, no route, no connection
 * @KESU_ERROR_CANNOT_RESOLVE: the name of the server, or of the proxy, cannot be looked up
 * @KESU_ERROR_TLS: the handshake failed, or the certificate was refused
 * @KESU_ERROR_TIMED_OUT: nothing came in time
 * @KESU_ERROR_SERVER: the service, or something on the way to it, answered with an error
 * @KESU_ERROR_MALFORMED: an answer came that cannot be, or is too large
 * @KESU_ERROR_WITHHELD: nothing was sent: what was observed must not be told, see
 *   [property@Kesu.Client:locate-single-access-point]
 * @KESU_ERROR_MISUSE: the call cannot be made like that; nothing was sent
 *
 * Why a call has no answer. One that was cancelled ends with %G_IO_ERROR_CANCELLED instead.
 */
typedef enum {
  KESU_ERROR_NOT_FOUND = 1,
  KESU_ERROR_CANNOT_CONNECT,
  KESU_ERROR_CANNOT_RESOLVE,
  KESU_ERROR_TLS,
  KESU_ERROR_TIMED_OUT,
  KESU_ERROR_SERVER,
  KESU_ERROR_MALFORMED,
  KESU_ERROR_WITHHELD,
  KESU_ERROR_MISUSE
} KesuError;

/**
 * KESU_ERROR:
 *
 * The domain of errors of the library; their codes are [error@Kesu.Error].
 */
#define KESU_ERROR (kesu_error_quark())
GQuark kesu_error_quark(void);

#define KESU_TYPE_ERROR (kesu_error_get_type())
GType kesu_error_get_type(void) G_GNUC_CONST;

/**
 * KesuLogLevel:
 * @KESU_LOG_LEVEL_NONE: nothing
 * @KESU_LOG_LEVEL_ERRORS: errors
 * @KESU_LOG_LEVEL_WARNINGS: warnings too
 * @KESU_LOG_LEVEL_INFORMATION: what happens as well
 * @KESU_LOG_LEVEL_DEBUG: everything; these lines may hold what is asked and answered
 *
 * Which lines of the log a client writes, see [property@Kesu.Client:log-level].
 */
typedef enum {
  KESU_LOG_LEVEL_NONE,
  KESU_LOG_LEVEL_ERRORS,
  KESU_LOG_LEVEL_WARNINGS,
  KESU_LOG_LEVEL_INFORMATION,
  KESU_LOG_LEVEL_DEBUG
} KesuLogLevel;

#define KESU_TYPE_LOG_LEVEL (kesu_log_level_get_type())
GType kesu_log_level_get_type(void) G_GNUC_CONST;

G_END_DECLS

#endif  // KESU_ERROR_H_
