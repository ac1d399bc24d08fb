// Reads points, LATITUDE,LONGITUDE on each line, and writes them with what is there:
//
//     addresses http://127.0.0.1:8642 < points.csv > places.csv

#include <iomanip>
#include <iostream>

#include "client/client.h"
#include "client/main_loop.h"

int main(int argc, char** argv) {
  std::vector<kesu::Point> points;
  char comma = 0;
  for (kesu::Point at; std::cin >> at.latitude >> comma >> at.longitude;) points.push_back(at);

  kesu::MainLoop loop;
  kesu::Client client({.server = argc > 1 ? argv[1] : "http://127.0.0.1:8642"});
  const kesu::Call call = client.Reverse(points, [&](const auto& places) {
    std::cout << std::setprecision(9);
    for (std::size_t i = 0; i < places.size(); ++i) {
      std::cout << points[i].latitude << ',' << points[i].longitude << ','
                << std::quoted(places[i] ? places[i]->name : places[i].error().message, '"', '"')
                << '\n';
    }
    loop.Quit();
  });
  loop.Run();
}
