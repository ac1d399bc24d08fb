#ifndef DOVI_DEPLOYMENT_SETTINGS_H_
#define DOVI_DEPLOYMENT_SETTINGS_H_

/// Where the trace of the transport goes: what it does, step by step, with the URLs, without
/// anything that is asked or answered.
enum class DoviTraceTarget {
  /// And the two lines of the start to standard error.
  kStandardOutput,
  /// DoviDeploymentSettings::trace_callback.
  kCallback,
  kNowhere,
};

/// Takes a piece of the trace: a line with its newline, part of a line, or several lines, as they
/// would be printed. Called from inside libcurl too: it must not call the library or throw. The
/// text is valid during the call.
using DoviTraceCallback = void (*)(const char* text, void* closure);

/// How this deployment reaches the service. Every text is UTF-8; null and the empty text mean that
/// nothing is set.
struct DoviDeploymentSettings {
  /// Scheme (http or https), host and port, without a slash at the end: "https://example.org:8443".
  /// Not set: the host that the library was built with.
  const char* host = nullptr;
  /// A PEM file of the authorities that the service's certificate is checked against. Not set:
  /// those of libcurl.
  const char* ca_file = nullptr;
  /// Not set: no proxy. The environment is never asked.
  const char* proxy = nullptr;
  /// Milliseconds until a connection must stand; 0 leaves it to libcurl.
  int connect_timeout_ms = 0;
  /// Milliseconds that a whole exchange may take; 0 is without a limit.
  int total_timeout_ms = 0;
  /// For debugging: whether the keys of TLS sessions are written to the file that the environment
  /// names in SSLKEYLOGFILE, with which whoever has them can read what was sent. Otherwise that is
  /// ignored, unless the program itself has initialised libcurl before.
  bool obey_sslkeylogfile = false;
  DoviTraceTarget trace = DoviTraceTarget::kStandardOutput;
  /// For DoviTraceTarget::kCallback, with what is passed to it.
  DoviTraceCallback trace_callback = nullptr;
  void* trace_closure = nullptr;
  /// How many exchanges run at once, each on a connection, as long as none takes longer than 10 ms;
  /// the others wait for their turn. From 1 on; 64, the most there can be, lets none wait.
  int first_connections = 6;
};

/// Replaces the settings of the process; the texts are copied. To be called before the
/// DoviHttpRequestFactory is made. False, with nothing changed, when the service's URL would not
/// fit its buffer, a time-out is negative, the callback of the trace is missing, or the number of
/// connections is not from 1 to 64.
bool SetDoviDeploymentSettings(const DoviDeploymentSettings& settings);

/// The settings in force. No text is null: what is not set is empty, and the host is the actual
/// one. Valid until the next SetDoviDeploymentSettings().
const DoviDeploymentSettings& GetDoviDeploymentSettings();

inline constexpr char kDoviServicePath[] = "/m/appreq/cllDovi";
/// Room for the URL of the service and its NUL.
inline constexpr int kDoviUrlBufferSize = 100;

/// Writes the NUL-terminated URL of the service: the host in force and the path.
void WriteDoviServiceUrl(char (&buffer)[kDoviUrlBufferSize]);

#endif  // DOVI_DEPLOYMENT_SETTINGS_H_
