// Stands in for libFuzzer: runs a fuzz target over the files of the given folders, and over what is
// left of each when it is cut short.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size);

int main(int argc, char** argv) {
  int count = 0;
  for (int i = 1; i < argc; ++i) {
    for (const auto& entry : std::filesystem::directory_iterator(argv[i])) {
      std::ifstream file(entry.path(), std::ios::binary);
      const std::vector<char> content{std::istreambuf_iterator<char>(file), {}};
      // Shows at which file it ended, if it ends.
      std::fprintf(stderr, "%s\n", entry.path().c_str());
      for (auto end = content.end();; --end) {
        // A copy of the very size, so that a read past the end is noticed.
        const std::vector<std::uint8_t> bytes(content.begin(), end);
        LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
        if (bytes.empty()) break;
      }
      ++count;
    }
  }
  std::fprintf(stderr, "%d inputs\n", count);
  return count > 0 ? 0 : 1;
}
