#ifndef SERVER_SIMULATION_FLEET_H_
#define SERVER_SIMULATION_FLEET_H_

#include <functional>
#include <optional>
#include <string>

#include "client/client.h"
#include "client/main_loop.h"

#include "server/simulation/figures.h"
#include "server/simulation/town.h"

namespace kesu_server {

/// Devices in an invented town, which ask a real server.
class Fleet {
 public:
  Fleet(const Town* town, const std::string& server);

  /// So many lookups from streets by devices that know their position, some better than others.
  /// False when one failed.
  bool Teach(int lookups, Random* random);
  /// So many lookups by devices indoors that do not know it.
  Figures Locate(int lookups, Random* random);

 private:
  using Answered = std::function<void(const kesu::LocateResult&)>;
  struct Question {
    kesu::Observation observation;
    Answered answered;
  };

  kesu::Observation Observe(const PlanePoint& point, Random* random) const;
  /// Asks all that `next` makes, some at a time, and waits for the answers.
  void AskAll(int count, const std::function<Question()>& next);

  const Town* town_;
  kesu::MainLoop loop_;
  kesu::Client client_;
};

}  // namespace kesu_server

#endif  // SERVER_SIMULATION_FLEET_H_
