#ifndef KESU_BENCH_SAMPLE_MESSAGES_H_
#define KESU_BENCH_SAMPLE_MESSAGES_H_

#include "kesu/common/base/gstring.h"
#include "kesu/proto/lbs.h"

/// How the texts of a sample are made from their UTF-8.
using TextMaker = common_base::GString (*)(const char* utf8);

/// A lookup with 6 cells and 20 access points, 900 bytes.
void FillRequest(lbs::GLocRequest* request, TextMaker make_text = &common_base::NewGStringFromUtf8);

/// An answer with 8 elements: 120 messages and 129 texts in 2931 bytes. 24 of the texts are not
/// ASCII, and 17 have more than 27 characters.
void FillReply(lbs::GLocReply* reply, TextMaker make_text = &common_base::NewGStringFromUtf8);

/// A small lookup, with a cell and two access points, and its answer.
inline constexpr int kLatitudeE7 = 387166667;
void FillLookup(lbs::GLocRequest* request);
void FillLookupReply(lbs::GLocReply* reply);

#endif  // KESU_BENCH_SAMPLE_MESSAGES_H_
