#ifndef KESU_MUX_HTTP_UTILS_H_
#define KESU_MUX_HTTP_UTILS_H_

#include "kesu/common/base/gstring.h"

class HttpUtils {
 public:
  static constexpr char HTTP_PREFIX[] = "http://";

  /// True for 301, 302, 303 and 307 only.
  static bool IsRedirect(int status);

  /// The host, with its port, of a URL with or without "http://". No other scheme is dropped,
  /// deliberately: an "https://" URL yields "https:".
  static common_base::GString GetDomainForUrl(common_base::GString url);

  HttpUtils() = delete;
};

#endif  // KESU_MUX_HTTP_UTILS_H_
