#include <support/failure.hpp>
#include <tavrik/mq_wrapper.hpp>
#include <transport/transport_error.hpp>

#include <cerrno>
#include <gtest/gtest.h>
#include <stdexcept>
#include <string>
#include <utility>

namespace {

using tavrik::compositeCode;
using tavrik::fail;
using tavrik::LastError;

constexpr tavrik::Site site{0x10b0000, "Failed : "};

TEST(ConstructErrorCodeTest, AddsTheErrorNumberToTheSiteAndMarksZeroMQsOwn) {
  const std::pair<int, int> rows[] = {
      {0, 0x10b0000},         {11, 17498123}, {156384711, 0x10b0000 | 156384711},
      {156384712, 0x10b8000},  // the base of ZeroMQ's own numbers
      {156384765, 17530933},
  };
  for (const auto& [error, code] : rows) {
    EXPECT_EQ(code, compositeCode(site.code, error));
    const tavrik::MQWrapper* const transport = tavrik::MQWrapper::getInstance();
    errno = error;
    EXPECT_EQ(code, transport->constructErrorCode(site.code));
  }
}

TEST(TransportErrorTest, TextIsDescriptionErrorDetailValueAndCode) {
  EXPECT_FAILURE(
      std::runtime_error,
      "Failed : Numerical argument out of domainzeromq:" + std::to_string(0x10b0000 | EDOM),
      errno = EDOM;
      fail(site));
  EXPECT_FAILURE(std::runtime_error,
                 "Failed : Context was terminated : End Point : xzeromq:17530933", errno = ETERM;
                 fail(site, " : End Point : ", "x"));
}

TEST(TransportErrorTest, LastErrorIsTheOneWhenTheObjectWasMade) {
  errno = EDOM;
  const LastError error;
  errno = EXDEV;
  EXPECT_FAILURE(
      std::runtime_error,
      "Failed : Numerical argument out of domainzeromq:" + std::to_string(0x10b0000 | EDOM),
      fail(site, error));
}

}  // namespace
