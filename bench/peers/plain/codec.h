#ifndef KESU_BENCH_PEERS_PLAIN_CODEC_H_
#define KESU_BENCH_PEERS_PLAIN_CODEC_H_

#include "bench/peers/plain/buffer.h"
#include "bench/peers/plain/cursor.h"
#include "bench/peers/plain/messages.h"
#include "bench/peers/plain/tuned_buffer.h"

/// The codec written by hand: a switch per message to read, a line per field to write.
namespace plain {

/// Add the fields in `in` to `out`; false when they are malformed.
bool ReadReply(Cursor in, Reply* out);
bool ReadRequest(Cursor in, Request* out);

/// Append the message to `out`.
void WriteReply(const Reply& reply, Buffer* out);
void WriteReply(const Reply& reply, TunedBuffer* out);
void WriteRequest(const Request& request, Buffer* out);
void WriteRequest(const Request& request, TunedBuffer* out);

}  // namespace plain

#endif  // KESU_BENCH_PEERS_PLAIN_CODEC_H_
