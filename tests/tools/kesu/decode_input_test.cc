#include "tools/kesu/decode_input.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

#include <doctest/doctest.h>
#include <nlohmann/json.hpp>

#include "support/bytes.h"
#include "tools/kesu/json_tree_writer.h"
#include "tools/kesu/text_tree_writer.h"

namespace {

using kesu_tool::JsonTreeWriter;

/// Yields what is shown, and in `faults` what is wrong with it, a line each.
template <typename Writer>
std::string Decode(std::vector<unsigned char> input, std::string* faults) {
  std::FILE* const in = fmemopen(input.data(), input.size(), "rb");
  char* text = nullptr;
  std::size_t length = 0;
  std::FILE* const out = open_memstream(&text, &length);
  Writer writer(out);
  faults->clear();
  const auto on_fault = [&](const std::string& where, const kesu_decode::Fault& fault) {
    CHECK(fault.offset <= input.size());
    *faults += "error at " + where + (where.empty() ? "" : ", ") + std::to_string(fault.offset) +
               ": " + fault.reason + "\n";
  };
  std::string error;
  kesu_tool::DecodeInput(in, &writer, on_fault, &error);
  std::fclose(out);
  std::fclose(in);
  std::string output(text, length);
  std::free(text);
  return output;
}

/// Each line is an object, and tells of the faults, but for those of a capture as a file.
void CheckJson(const std::vector<unsigned char>& input) {
  std::string faults;
  std::istringstream lines(Decode<JsonTreeWriter>(input, &faults));
  bool has_error = false;
  for (std::string line; std::getline(lines, line);) {
    CHECK(nlohmann::json::parse(line, nullptr, false).is_object());
    has_error = has_error || line.find("\"error\":{") != std::string::npos;
  }
  const bool is_of_file = faults.find("the end of the capture") != std::string::npos;
  CHECK((is_of_file || has_error == !faults.empty()));
}

std::string ReadFile(const std::filesystem::path& path) {
  std::ifstream file(path);
  return {std::istreambuf_iterator<char>(file), {}};
}

/// Each file has a body or a capture, an empty line, and what is to be printed of it.
TEST_CASE("bodies, their trees, and JSON that is sound wherever they are cut or wrong") {
  int files = 0;
  for (const auto& entry : std::filesystem::directory_iterator(KESU_DECODE)) {
    if (entry.path().extension() != ".txt") continue;
    ++files;
    CAPTURE(entry.path());
    const std::string text = ReadFile(entry.path());
    const std::size_t end_of_body = std::min(text.find("\n\n"), text.size() - 2);
    common_base::ByteVector body = kesu_test::Bytes(text.substr(0, end_of_body));

    std::string faults;
    const std::string tree = Decode<kesu_tool::TextTreeWriter>({body.begin(), body.end()}, &faults);
    CHECK(tree + faults == text.substr(end_of_body + 2));
    const std::string json =
        ReadFile(std::filesystem::path(entry.path()).replace_extension("json"));
    if (!json.empty()) CHECK(Decode<JsonTreeWriter>({body.begin(), body.end()}, &faults) == json);

    // Captures are long.
    const int step = body.length() > 1000 ? 11 : 1;
    for (int i = 0; i < body.length(); i += step) {
      CAPTURE(i);
      unsigned char& byte = body[i];
      CheckJson({body.begin(), &byte});
      const unsigned char right = byte;
      for (const int wrong : {0, 1, 3, 4, 7, 0x7F, 0x80, 0xFF}) {
        byte = static_cast<unsigned char>(wrong);
        CheckJson({body.begin(), body.end()});
      }
      byte = right;
    }
  }
  CHECK(files > 0);
}

}  // namespace
