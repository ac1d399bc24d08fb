#ifndef SERVER_STORAGE_IMMEDIATE_LOOKUP_H_
#define SERVER_STORAGE_IMMEDIATE_LOOKUP_H_

#include <cstddef>
#include <memory>
#include <optional>
#include <utility>

#include "server/storage/lookup.h"
#include "server/storage/storage.h"

namespace kesu_server {

/// A storage that is near enough to be waited for: it answers from inside.
class ImmediateLookup final : public Lookup {
 public:
  explicit ImmediateLookup(std::unique_ptr<Storage> storage) : storage_(std::move(storage)) {}

  void Ask(Inquiry inquiry, Done done) override { done(Find(inquiry)); }
  /// Of a POST's requests some share a transaction, and the others need not be in memory meanwhile.
  std::size_t enough() const override { return 256; }

 private:
  std::optional<Findings> Find(const Inquiry& inquiry);

  std::unique_ptr<Storage> storage_;
};

}  // namespace kesu_server

#endif  // SERVER_STORAGE_IMMEDIATE_LOOKUP_H_
