#ifndef KESU_BENCH_SAMPLE_MESSAGES_H_
#define KESU_BENCH_SAMPLE_MESSAGES_H_

#include "kesu/proto/lbs.h"

/// A lookup with 6 cells and 20 access points, about 1 KB.
void FillRequest(lbs::GLocRequest* request);

/// An answer with 8 elements and 129 texts, about 3 KB.
void FillReply(lbs::GLocReply* reply);

#endif  // KESU_BENCH_SAMPLE_MESSAGES_H_
