#include "tools/kesu/body_decoder.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

#include <doctest/doctest.h>
#include <nlohmann/json.hpp>

#include "support/bytes.h"
#include "tools/kesu/json_tree_writer.h"
#include "tools/kesu/text_tree_writer.h"

namespace {

using common_base::ByteView;
using kesu_tool::JsonTreeWriter;

template <typename Writer>
std::string Decode(const ByteView& body, std::optional<kesu_tool::Fault>* fault) {
  char* text = nullptr;
  std::size_t length = 0;
  std::FILE* const out = open_memstream(&text, &length);
  Writer writer(out);
  *fault = kesu_tool::BodyDecoder(&writer).Decode(body);
  std::fclose(out);
  std::string output(text, length);
  std::free(text);
  return output;
}

/// Without a byte to spare, for a sanitizer to notice a read past the end.
void CheckJson(const std::vector<unsigned char>& body) {
  std::optional<kesu_tool::Fault> fault;
  const ByteView view(common_base::kReferenceExistingBuffer, body.data(),
                      static_cast<int>(body.size()));
  const auto json = nlohmann::json::parse(Decode<JsonTreeWriter>(view, &fault), nullptr, false);
  CHECK(json.is_object());
  CHECK(json.contains("error") == fault.has_value());
  if (fault) CHECK(fault->offset <= body.size());
}

std::string ReadFile(const std::filesystem::path& path) {
  std::ifstream file(path);
  return {std::istreambuf_iterator<char>(file), {}};
}

/// Each file has a body, an empty line, and what is to be printed of it.
TEST_CASE("bodies, their trees, and JSON that is sound wherever they are cut or wrong") {
  int files = 0;
  for (const auto& entry : std::filesystem::directory_iterator(KESU_DECODE)) {
    if (entry.path().extension() != ".txt") continue;
    ++files;
    CAPTURE(entry.path());
    const std::string text = ReadFile(entry.path());
    const std::size_t end_of_body = std::min(text.find("\n\n"), text.size() - 2);
    common_base::ByteVector body = kesu_test::Bytes(text.substr(0, end_of_body));

    std::optional<kesu_tool::Fault> fault;
    std::string tree = Decode<kesu_tool::TextTreeWriter>(body, &fault);
    if (fault) tree += "error at " + std::to_string(fault->offset) + ": " + fault->reason + "\n";
    CHECK(tree == text.substr(end_of_body + 2));
    const std::string json =
        ReadFile(std::filesystem::path(entry.path()).replace_extension("json"));
    if (!json.empty()) CHECK(Decode<JsonTreeWriter>(body, &fault) == json);

    for (unsigned char& byte : body) {
      CAPTURE(&byte - body.begin());
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
