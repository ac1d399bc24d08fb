#include "server/http/tls_files.h"

#include <glib.h>

namespace kesu_server {
namespace {

bool ReadFile(const std::string& path, std::string* content, std::string* error) {
  char* bytes = nullptr;
  gsize size = 0;
  GError* failure = nullptr;
  if (g_file_get_contents(path.c_str(), &bytes, &size, &failure) == FALSE) {
    *error = failure->message;
    g_error_free(failure);
    return false;
  }
  content->assign(bytes, size);
  g_free(bytes);
  return true;
}

}  // namespace

bool ReadTlsFiles(const std::string& certificate_path, const std::string& key_path, TlsFiles* files,
                  std::string* error) {
  return ReadFile(certificate_path, &files->certificate, error) &&
         ReadFile(key_path, &files->key, error);
}

}  // namespace kesu_server
