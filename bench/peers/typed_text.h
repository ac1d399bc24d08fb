#ifndef KESU_BENCH_PEERS_TYPED_TEXT_H_
#define KESU_BENCH_PEERS_TYPED_TEXT_H_

#include "kesu/common/base/gstring.h"

/// The text of `utf8`, put together from code points: no string of it was ever held as UTF-8.
common_base::GString TypeText(const char* utf8);

#endif  // KESU_BENCH_PEERS_TYPED_TEXT_H_
