#include <tavrik/error.hpp>

#include <gtest/gtest.h>
#include <string>
#include <utility>

namespace {

using namespace std::string_literals;

TEST(DecodeErrorTest, ReadsTheCodeAfterTheMarker) {
  const std::pair<std::string, int> rows[] = {
      {"Message part index out of boundstavrik:-5", -5},
      {"Failed to send messagepart : Resource temporarily unavailablezeromq:17498123", -17498123},
      {"zeromq:17", -17},
      // A library marker takes precedence, then the first of several.
      {"zeromq:17tavrik:-5", -5},
      {"tavrik:-5zeromq:17", -5},
      {"tavrik:-1tavrik:-2", -1},
      {"zeromq:1zeromq:2", -1},
      // The text may contain a zero byte.
      {"Invalid Endpoint : a\0*tavrik:-13"s, -13},
      // Without a marker.
      {"std::bad_alloc", -33},
      {"", -33},
      {"tavrik -5", -33},
  };
  for (const auto& [text, code] : rows) EXPECT_EQ(code, decode_error(text)) << text;
}

TEST(DecodeErrorTest, ReadsNumbersAsStrtolDoes) {
  constexpr int smallest = -2147483647 - 1;
  const std::pair<std::string, int> rows[] = {
      {"tavrik: \t-7 and more", -7},
      {"tavrik:+7", 7},
      {"tavrik:none", 0},
      {"tavrik:", 0},
      {"zeromq:none", 0},
      {"zeromq:-12", 12},
      {"tavrik:-010", -10},
      {"tavrik:0x10", 0},
      {"zeromq:-2147483648", smallest},
      {"tavrik:-2147483648", smallest},
  };
  for (const auto& [text, code] : rows) EXPECT_EQ(code, decode_error(text)) << text;
}

}  // namespace
