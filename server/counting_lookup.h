#ifndef SERVER_COUNTING_LOOKUP_H_
#define SERVER_COUNTING_LOOKUP_H_

#include <cstddef>
#include <memory>
#include <optional>
#include <utility>

#include "server/http/worker_record.h"
#include "server/storage/lookup.h"

namespace kesu_server {

/// Another lookup, whose hits and misses it counts.
class CountingLookup final : public Lookup {
 public:
  /// `record` is borrowed.
  CountingLookup(std::unique_ptr<Lookup> lookup, WorkerRecord* record)
      : lookup_(std::move(lookup)), record_(record) {}

  void Ask(Inquiry inquiry, Done done) override {
    lookup_->Ask(std::move(inquiry),
                 [record = record_, done = std::move(done)](std::optional<Findings> findings) {
                   if (findings) Count(*findings, record);
                   done(std::move(findings));
                 });
  }
  std::size_t enough() const override { return lookup_->enough(); }

 private:
  static void Count(const Findings& findings, WorkerRecord* record) {
    for (const std::optional<Station>& station : findings.stations) {
      ++(station ? record->known_stations : record->unknown_stations);
    }
  }

  std::unique_ptr<Lookup> lookup_;
  WorkerRecord* record_;
};

}  // namespace kesu_server

#endif  // SERVER_COUNTING_LOOKUP_H_
