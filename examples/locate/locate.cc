// Where am I, and what is there: locate-cc [SERVER]
#include <iostream>

#include "client/client.h"
#include "client/main_loop.h"

int main(int argc, char** argv) {
  kesu::MainLoop loop;
  kesu::Client client({.server = argc > 1 ? argv[1] : "http://127.0.0.1:8642"});
  int status = 1;
  const auto fail = [&](const kesu::Error& error) {
    std::cerr << error.message << '\n';
    loop.Quit();
  };
  kesu::Observation seen;
  seen.cells.push_back({.mcc = 1, .mnc = 1, .area = 1, .cell = 1001, .signal_dbm = -71});
  seen.access_points.push_back({.mac_address = "00-00-5E-00-53-01", .signal_dbm = -60});
  kesu::Call call = client.Locate(seen, [&](const kesu::LocateResult& at) {
    if (!at) return fail(at.error());
    std::cout << at->latitude << ' ' << at->longitude << ' ' << at->accuracy_m.value_or(-1) << '\n';
    call = client.Reverse({at->latitude, at->longitude}, [&](const auto& place) {
      if (!place) return fail(place.error());
      std::cout << place->name << '\n';
      status = 0;
      loop.Quit();
    });
  });
  loop.Run();
  return status;
}
