// Tells where the device is, every so many seconds, until Ctrl-C:
//
//     follow http://127.0.0.1:8642 30

#include <cstdlib>
#include <iostream>

#include "client/client.h"
#include "client/main_loop.h"

int main(int argc, char** argv) {
  kesu::MainLoop loop;
  kesu::Client client({.server = argc > 1 ? argv[1] : "http://127.0.0.1:8642"});
  kesu::Call call;
  const auto locate = [&] {
    // What the device hears at this moment.
    kesu::Observation seen;
    seen.cells.push_back({.mcc = 1, .mnc = 1, .area = 1, .cell = 1001, .signal_dbm = -71});
    seen.access_points.push_back({.mac_address = "00-00-5E-00-53-01", .signal_dbm = -60});
    // In place of the call before, which is cancelled if it still waits.
    call = client.Locate(seen, [](const kesu::LocateResult& where) {
      if (!where) {
        std::cout << where.error().message << std::endl;
        return;
      }
      std::cout << where->latitude << ' ' << where->longitude << " within "
                << where->accuracy_m.value_or(0) << " m" << std::endl;
    });
  };
  locate();
  loop.Every(std::chrono::seconds(argc > 2 ? std::strtol(argv[2], nullptr, 10) : 30), locate);
  loop.OnInterrupt([&] { loop.Quit(); });
  loop.Run();
}
