#include <tavrik/error.hpp>

#include <gtest/gtest.h>
#include <string>

namespace {

using namespace std::string_literals;

TEST(DecodeError, reads_the_code_behind_the_library_marker) {
  EXPECT_EQ(-5, decode_error("Message part index out of boundstavrik:-5"));
}

TEST(DecodeError, negates_the_code_behind_the_transport_marker) {
  EXPECT_EQ(-17498123, decode_error("Failed to send messagepart : Resource temporarily unavailable"
                                    "zeromq:17498123"));
  EXPECT_EQ(-17, decode_error("zeromq:17"));
}

TEST(DecodeError, answers_33_without_a_marker) {
  EXPECT_EQ(-33, decode_error("std::bad_alloc"));
  EXPECT_EQ(-33, decode_error(""));
  EXPECT_EQ(-33, decode_error("tavrik -5"));
}

TEST(DecodeError, prefers_the_library_marker_wherever_it_stands) {
  EXPECT_EQ(-5, decode_error("zeromq:17tavrik:-5"));
  EXPECT_EQ(-5, decode_error("tavrik:-5zeromq:17"));
}

TEST(DecodeError, reads_behind_the_first_of_several_markers) {
  EXPECT_EQ(-1, decode_error("tavrik:-1tavrik:-2"));
  EXPECT_EQ(-1, decode_error("zeromq:1zeromq:2"));
}

TEST(DecodeError, reads_numbers_as_strtol_does) {
  EXPECT_EQ(-7, decode_error("tavrik: \t-7 and more"));
  EXPECT_EQ(7, decode_error("tavrik:+7"));
  EXPECT_EQ(0, decode_error("tavrik:none"));
  EXPECT_EQ(0, decode_error("tavrik:"));
  EXPECT_EQ(0, decode_error("zeromq:none"));
  EXPECT_EQ(12, decode_error("zeromq:-12"));
  EXPECT_EQ(-10, decode_error("tavrik:-010"));
  EXPECT_EQ(0, decode_error("tavrik:0x10"));
}

TEST(DecodeError, finds_a_marker_behind_a_zero_byte) {
  EXPECT_EQ(-13, decode_error("Invalid Endpoint : a\0*tavrik:-13"s));
}

TEST(DecodeError, survives_numbers_at_the_edge_of_an_int) {
  EXPECT_EQ(-2147483647 - 1, decode_error("zeromq:-2147483648"));
  EXPECT_EQ(-2147483647 - 1, decode_error("tavrik:-2147483648"));
}

}  // namespace
