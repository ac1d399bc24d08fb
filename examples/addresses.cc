// Reads points, LATITUDE,LONGITUDE on each line, and writes them with what is there:
//
//     addresses http://127.0.0.1:8642 < points.csv > places.csv

#include <cstdio>
#include <iomanip>
#include <iostream>

#include "client/client.h"
#include "client/main_loop.h"

int main(int argc, char** argv) {
  std::vector<kesu::Point> points;
  double latitude = 0;
  double longitude = 0;
  while (std::scanf("%lf,%lf", &latitude, &longitude) == 2) points.push_back({latitude, longitude});

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
