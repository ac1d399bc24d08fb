#ifndef SERVER_STORAGE_INQUIRER_H_
#define SERVER_STORAGE_INQUIRER_H_

#include <optional>

#include "server/storage/inquiry.h"

namespace kesu_server {

/// Whoever needs to ask the storage before it can answer, and perhaps again.
template <typename Answer>
class Inquirer {
 public:
  virtual ~Inquirer() = default;

  /// Goes on as far as it can, at first with nothing found, then with what it asked for last time.
  /// Yields its answer; or none, having added to `inquiry` what it asks for next.
  virtual std::optional<Answer> GoOn(const Found& found, Inquiry* inquiry) = 0;
};

}  // namespace kesu_server

#endif  // SERVER_STORAGE_INQUIRER_H_
