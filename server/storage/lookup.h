#ifndef SERVER_STORAGE_LOOKUP_H_
#define SERVER_STORAGE_LOOKUP_H_

#include <cstddef>
#include <functional>
#include <optional>

#include "server/storage/inquiry.h"

namespace kesu_server {

/// Looks things up without keeping anybody waiting. An object belongs to one thread and its default
/// main context. When it goes, what is still asked of it is forgotten, and nobody is told.
class Lookup {
 public:
  /// None when the storage failed.
  using Done = std::function<void(std::optional<Findings> findings)>;

  virtual ~Lookup() = default;

  /// Calls `done` once: from inside, or later from the main loop; never from inside while somebody
  /// else asks.
  virtual void Ask(Inquiry inquiry, Done done) = 0;

  /// An inquiry that has so many entries gains nothing from being asked together with others.
  virtual std::size_t enough() const = 0;
};

}  // namespace kesu_server

#endif  // SERVER_STORAGE_LOOKUP_H_
