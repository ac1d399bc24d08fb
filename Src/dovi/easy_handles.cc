#include "dovi/easy_handles.h"

namespace {

constexpr int kMaxSpareHandles = 16;

CURL* spare_handles[kMaxSpareHandles];
int spare_count = 0;

}  // namespace

CURL* TakeEasyHandle() {
  return spare_count > 0 ? spare_handles[--spare_count] : curl_easy_init();
}

void GiveBackEasyHandle(CURL* easy) {
  if (spare_count == kMaxSpareHandles) {
    curl_easy_cleanup(easy);
    return;
  }
  curl_easy_reset(easy);
  spare_handles[spare_count++] = easy;
}

void ReleaseSpareEasyHandles() {
  while (spare_count > 0) curl_easy_cleanup(spare_handles[--spare_count]);
}
