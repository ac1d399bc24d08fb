#include "dovi/receive_buffer.h"

#include <string>

#include <doctest/doctest.h>

using namespace std::string_literals;

TEST_CASE("a receive buffer") {
  ReceiveBuffer buffer(1000);
  CHECK(buffer.bytes() == nullptr);

  SUBCASE("keeps what came, in pieces of any size, and a NUL behind it") {
    std::string all;
    for (std::size_t piece = 0; piece < 44; ++piece) {
      all += std::string(piece, static_cast<char>('a' + piece));
      REQUIRE(buffer.Append(all.data() + all.size() - piece, piece));
      REQUIRE(buffer.length() == static_cast<int>(all.size()));
      if (piece > 0) REQUIRE(std::string(reinterpret_cast<const char*>(buffer.bytes())) == all);
    }
  }
  SUBCASE("takes its limit and not a byte more, and is then empty") {
    const std::string bytes(1000, 'x');
    CHECK(buffer.Append(bytes.data(), 1));
    CHECK(buffer.Append(bytes.data(), 999));
    CHECK(buffer.bytes()[1000] == 0);
    CHECK_FALSE(buffer.Append(bytes.data(), 1));
    CHECK(buffer.bytes() == nullptr);
    CHECK(buffer.length() == 0);
    CHECK_FALSE(buffer.Append(bytes.data(), static_cast<std::size_t>(-1)));
  }
  SUBCASE("text ends at a NUL, where the next text goes on") {
    for (const std::string& text : {"\0x"s, "a\0bc"s, "d"s, "e\0"s, "f"s}) {
      CHECK(buffer.AppendText(text.data(), text.size()));
    }
    CHECK(std::string(reinterpret_cast<const char*>(buffer.bytes())) == "adef");
    CHECK(buffer.length() == 4);
  }
}
