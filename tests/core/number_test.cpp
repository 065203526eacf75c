#include <core/number.hpp>

#include <cstdint>
#include <gtest/gtest.h>
#include <string>
#include <utility>

namespace {

TEST(LeadingNumberTest, ReadsTheDecimalNumberAtTheFront) {
  const std::pair<const char*, std::uint32_t> rows[] = {
      {"0", 0},
      {"1000", 1000},
      {"12abc", 12},
      {" \t7", 7},
      {"+7", 7},
      {"010", 10},  // not octal
      {"0x10", 0},  // not hexadecimal
      {"abc", 0},
      {"", 0},
      {"-1", 0xffffffffU},
      {"4294967303", 7},                     // the low 32 bits of 2^32 + 7
      {"9223372036854775808", 0xffffffffU},  // first cut to 2^63 - 1
      {"-9223372036854775809", 0},           // first cut to -2^63
  };
  for (const auto& [text, number] : rows) {
    EXPECT_EQ(number, tavrik::leadingNumber(text)) << text;
    EXPECT_EQ(number, tavrik::leadingNumber(std::string(text))) << text;
  }
}

}  // namespace
