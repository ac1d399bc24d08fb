#ifndef KESU_BENCH_REPLY_BUILDER_H_
#define KESU_BENCH_REPLY_BUILDER_H_

#include "kesu/common/base/vector.h"

/// The beginning of a reply: its version.
common_base::ByteVector NewReply();

/// Appends the answer, status 200, to one request.
void AppendReplyBlock(short id, const common_base::ByteView& payload,
                      common_base::ByteVector* reply);

#endif  // KESU_BENCH_REPLY_BUILDER_H_
