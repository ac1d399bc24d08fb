#include "kesu/mux/http_utils.h"

using common_base::GString;

bool HttpUtils::IsRedirect(int status) {
  return status == 301 || status == 302 || status == 303 || status == 307;
}

GString HttpUtils::GetDomainForUrl(GString url) {
  if (url->IsEmpty()) return GString();
  const GString prefix(HTTP_PREFIX);
  if (url->ToLowerCase()->StartsWith(prefix)) url = url->Substring(prefix->Length());
  for (const unsigned end : {U'/', U'#', U'?'}) {
    const int index = url->IndexOf(end);
    if (index != -1) url = url->Substring(0, index);
  }
  return url;
}
