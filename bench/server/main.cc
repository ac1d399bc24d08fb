// What kesu-server costs, beside the least that it could cost. Prints a line for each figure and
// its goal, and fails where one is missed.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string>
#include <vector>

#include <sys/resource.h>

#include "groups.h"

namespace {

using kesu_server_bench::InventedWorld;
using kesu_server_bench::Report;

constexpr char kUsage[] =
    "usage: kesu-server-bench [--stations N] [--posts N] [GROUP...]\n"
    "groups: lookups, workers, idle, memory, import; all if none is named\n"
    "  --stations N  in the database and to import, 10000000 if not given\n"
    "  --posts N     for the growth of memory, 100000 if not given\n";

struct Wish {
  std::int64_t stations = 10'000'000;
  std::int64_t posts = 100'000;
  std::vector<std::string> groups;

  bool Has(const char* group) const {
    return groups.empty() || std::find(groups.begin(), groups.end(), group) != groups.end();
  }
};

std::optional<Wish> ReadWish(const std::vector<std::string>& words) {
  constexpr std::int64_t kFewest = 1'000;
  const std::vector<std::string> known = {"lookups", "workers", "idle", "memory", "import"};
  Wish wish;
  for (std::size_t i = 0; i < words.size(); ++i) {
    if (words[i] == "--stations" || words[i] == "--posts") {
      if (i + 1 == words.size()) return std::nullopt;
      std::int64_t& number = words[i] == "--stations" ? wish.stations : wish.posts;
      number = std::strtoll(words[++i].c_str(), nullptr, 10);
      if (number < kFewest) return std::nullopt;
    } else if (std::find(known.begin(), known.end(), words[i]) == known.end()) {
      return std::nullopt;
    } else {
      wish.groups.push_back(words[i]);
    }
  }
  return wish;
}

void AllowManyFiles() {
  rlimit limit = {};
  getrlimit(RLIMIT_NOFILE, &limit);
  limit.rlim_cur = limit.rlim_max;
  setrlimit(RLIMIT_NOFILE, &limit);
}

}  // namespace

int main(int argc, char** argv) {
  const std::optional<Wish> wish = ReadWish({argv + 1, argv + argc});
  if (!wish) {
    std::fputs(kUsage, stderr);
    return 2;
  }
  AllowManyFiles();
  Report report;
  const InventedWorld world(wish->stations);
  kesu_server_bench::MeasureDisk(world, &report);
  if (wish->Has("lookups")) MeasureLookups(world, &report);
  if (wish->Has("workers")) MeasureWorkers(world, &report);
  if (wish->Has("idle")) MeasureIdleConnections(world, &report);
  if (wish->Has("memory")) MeasureMemory(world, wish->posts, &report);
  if (wish->Has("import")) kesu_server_bench::MeasureImport(wish->stations, &report);
  return report.has_missed() ? EXIT_FAILURE : EXIT_SUCCESS;
}
