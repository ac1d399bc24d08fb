#ifndef KESU_BENCH_PEERS_CLIENT_H_
#define KESU_BENCH_PEERS_CLIENT_H_

#include <memory>
#include <string>
#include <vector>

#include "bench/peers/answers.h"

/// Sends requests to the server and brings the answers back, over GLib's default main context. Made
/// anew it has no connections; it keeps those it makes.
class Client {
 public:
  Client() = default;
  Client(const Client&) = delete;
  Client& operator=(const Client&) = delete;
  virtual ~Client() = default;

  /// Gets `requests` ready to be sent, as far as that is not the client's work but the
  /// application's.
  virtual void Prepare(const std::vector<std::string>& requests) = 0;
  /// Sends what was prepared and returns when all answers have been taken.
  virtual void Exchange(Answers* answers) = 0;
  /// The bodies of the POSTs sent so far, where they are kept.
  virtual const std::vector<std::string>& bodies() const = 0;
};

/// How the requests travel.
enum class Sending { kPacked, kOneEach };

/// The library: the multiplexer over its transport for libcurl and GLib.
std::unique_ptr<Client> NewOurClient(const std::string& host, Sending sending, bool keep_bodies);

/// The same packing by hand, over HandDriver.
std::unique_ptr<Client> NewPackingClient(const std::string& host, bool keep_bodies);

/// One POST for each request, by hand: over at most `connections` connections, kept alive, with as
/// many handles that are used again.
std::unique_ptr<Client> NewKeepAliveClient(const std::string& host, int connections);

/// One POST and one handle for each request, all at once.
std::unique_ptr<Client> NewStormClient(const std::string& host);

#endif  // KESU_BENCH_PEERS_CLIENT_H_
