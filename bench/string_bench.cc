#include <string>

#include "kesu/common/base/gstring.h"

#include "benchmark.h"

namespace {

using common_base::ByteVector;
using common_base::ByteView;
using common_base::GString;

constexpr int kRepetitions = 20000;
constexpr double kBytesPerMegabyte = 1e6;

/// Five bytes of UTF-8 each.
constexpr char kAscii[] = "abcde";
constexpr char kMixed[] = "a\xC3\xA9\xC3\xA8";

std::string Repeat(const char* five_bytes, int size) {
  std::string text;
  while (static_cast<int>(text.size()) < size) text += five_bytes;
  return text;
}

double Decode(const std::string& text) {
  const ByteView view(common_base::kReferenceExistingBuffer,
                      reinterpret_cast<const unsigned char*>(text.data()),
                      static_cast<int>(text.size()));
  const double seconds = Seconds(kRepetitions, [&] { Keep(GString(view)->IsEmpty()); });
  return kRepetitions * static_cast<double>(text.size()) / seconds / kBytesPerMegabyte;
}

double Encode(const std::string& text) {
  const GString decoded(text.c_str());
  const double seconds = Seconds(kRepetitions, [&] {
    ByteVector utf8;
    decoded->ToUtf8Vector(&utf8);
    Keep(utf8.length());
  });
  return kRepetitions * static_cast<double>(text.size()) / seconds / kBytesPerMegabyte;
}

}  // namespace

std::vector<Benchmark> StringBenchmarks() {
  std::vector<Benchmark> benchmarks;
  for (const int size : {5, 40, 400}) {
    for (const auto& [kind, five_bytes] :
         {std::pair("ascii", kAscii), std::pair("mixed", kMixed)}) {
      const std::string suffix = std::string(kind) + "." + std::to_string(size);
      const std::string text = Repeat(five_bytes, size);
      benchmarks.push_back({"string.decode." + suffix, "MB/s", [text] { return Decode(text); }});
      benchmarks.push_back({"string.encode." + suffix, "MB/s", [text] { return Encode(text); }});
    }
  }
  return benchmarks;
}
