#ifndef SERVER_HTTP_TLS_FILES_H_
#define SERVER_HTTP_TLS_FILES_H_

#include <string>

namespace kesu_server {

/// The certificate with those above it, and its key, in PEM; both empty for none.
struct TlsFiles {
  std::string certificate;
  std::string key;
};

/// Reads the two files. False, and why in `error`, when one cannot be read.
bool ReadTlsFiles(const std::string& certificate_path, const std::string& key_path, TlsFiles* files,
                  std::string* error);

}  // namespace kesu_server

#endif  // SERVER_HTTP_TLS_FILES_H_
