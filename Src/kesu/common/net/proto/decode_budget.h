#ifndef KESU_COMMON_NET_PROTO_DECODE_BUDGET_H_
#define KESU_COMMON_NET_PROTO_DECODE_BUDGET_H_

namespace common_net_proto {

/// 96 MiB. A reply, the copies that the services keep of it and the buffers it came through then
/// stay below 256 MiB together, whatever the 8 MiB are that the transport takes.
inline constexpr long long kDefaultDecodeMemoryLimit = 96LL << 20;

/// Sets what one reply may take in memory, in bytes and for the whole process; it counts for the
/// replies read from then on. A reply that would take more is malformed.
void SetDecodeMemoryLimit(long long bytes);

/// As long as one lives, what messages make of the bytes they read is counted: objects, texts,
/// elements, the room of the heap around them. Beyond the limit Message::Read() yields false, and
/// what was read until then stays in the message. Without one there is no limit. Counted is what is
/// made, also where a later value takes its place.
///
///     const DecodeBudget budget;
///     if (!reply->Read(&stream)) …
class DecodeBudget {
 public:
  DecodeBudget();
  DecodeBudget(const DecodeBudget&) = delete;
  DecodeBudget& operator=(const DecodeBudget&) = delete;
  ~DecodeBudget();

  /// For the readers of values: false when it would be too much.
  static bool Take(long long bytes) {
    left_ -= bytes;
    return left_ >= 0;
  }

 private:
  static long long left_;

  /// What was left to the budget around this one.
  long long outer_;
};

}  // namespace common_net_proto

#endif  // KESU_COMMON_NET_PROTO_DECODE_BUDGET_H_
