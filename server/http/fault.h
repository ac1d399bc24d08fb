#ifndef SERVER_HTTP_FAULT_H_
#define SERVER_HTTP_FAULT_H_

#include <atomic>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "server/process/shared_array.h"

namespace kesu_server {

enum class FaultKind {
  kStatus,
  kDelay,
  kDrop,
  kCut,
  kChunked,
  kContentType,
  kVersion,
  kGarbage,
  kOmit,
  kEncoding,
  kRedirect,
};

/// Something that is wrong with replies on demand.
struct Fault {
  FaultKind kind = FaultKind::kDrop;
  /// The value, for the kinds that take a number or a text.
  int number = 0;
  std::string text;
  /// The number of POSTs that are to have the fault; none stands for all there will be.
  std::optional<int> count;
  /// As it was asked for.
  std::string words;
};

/// Reads KIND[:N], where KIND may have a value: "drop", "drop:2", "status=502:1". What stands
/// behind the last colon is the count. None, and why in `error`, when the kind is unknown, or count
/// or value is not what the kind takes.
std::optional<Fault> ParseFault(std::string_view words, std::string* error);

/// The faults to come, in their order; workers that are forked after the last Add() share them.
class FaultPlan {
 public:
  void Add(Fault fault);
  bool is_empty() const { return entries_.empty(); }

  /// Uses up one use of the first fault that has uses left, and yields it, valid until the next
  /// Add(); null when none has.
  const Fault* Next();

 private:
  struct Entry {
    Fault fault;
    /// How often it has been used, in memory that processes share.
    SharedArray<std::atomic<int>> uses{1};
  };

  std::vector<Entry> entries_;
};

}  // namespace kesu_server

#endif  // SERVER_HTTP_FAULT_H_
