// The buffer that a receive hands over comes from malloc. Here malloc fails for one size.
#include <support/failure.hpp>
#include <support/log_capture.hpp>
#include <support/plain_socket.hpp>
#include <support/request_reply.hpp>
#include <tavrik/tavrik.h>

#include <atomic>
#include <cstdlib>
#include <gtest/gtest.h>
#include <string>

namespace {

constexpr std::size_t refusedSize = 54321;
std::atomic<bool> refusing{false};

}  // namespace

#ifdef __SANITIZE_ADDRESS__
#define REAL_MALLOC __interceptor_malloc
#else
#define REAL_MALLOC __libc_malloc
#endif

extern "C" void* REAL_MALLOC(std::size_t size);

extern "C" void* malloc(std::size_t size) noexcept {
  if (size == refusedSize && refusing) return nullptr;
  return REAL_MALLOC(size);
}

namespace {

using support::debugLine;
using support::Log;

class ExhaustedMalloc : public testing::Test {
 protected:
  // Sends a buffer, and refuses to allocate its like from the moment it has arrived.
  ExhaustedMalloc() {
    tavrik_pollitem_t item = {&pair.server, TAVRIK_POLLIN, 0};
    EXPECT_EQ(0, tavrik_poll(&item, 1, 0));
    std::string file(refusedSize, 'x');
    EXPECT_EQ(1, pair.client.sendBinary("file", file.data(), refusedSize));
    EXPECT_EQ(1, tavrik_poll(&item, 1, support::patience));
    refusing = true;
  }
  ~ExhaustedMalloc() override { refusing = false; }

  support::LogCapture log;
  support::RequestReply pair;
  char subject[SUBJECT_BUFFER_SIZE] = "";
  void* data = subject;
  unsigned int size = 0;
};

const std::string text = "Failed to allocate memory to buffertavrik:-3";
const std::string channelLine = "Error : Tavrik::TavrikChannel::receiveBinary() : " + text;

TEST_F(ExhaustedMalloc, channel_fails_and_hands_over_null) {
  EXPECT_FAILURE(std::runtime_error, text,
                 pair.server.receiveBinary(subject, &data, &size, support::patience));
  EXPECT_EQ(nullptr, data);
  EXPECT_EQ(refusedSize, size);
  EXPECT_STREQ("file", subject);
  EXPECT_EQ((Log{debugLine(channelLine)}), log.lines());
}

TEST_F(ExhaustedMalloc, c_interface_reports_and_logs_it_as_any_failure) {
  EXPECT_EQ(-3, tavrik_receiveBinary(&pair.server, subject, &data, &size, support::patience));
  EXPECT_EQ(nullptr, data);
  EXPECT_EQ((Log{debugLine(channelLine), debugLine("Error : tavrik_receiveBinary() : " + text)}),
            log.lines());
}

}  // namespace
