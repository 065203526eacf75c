// Deletions that wait for their messages, after one that waited in vain.
#include <support/log_capture.hpp>
#include <support/plain_socket.hpp>
#include <support/temp_dir.hpp>
#include <support/transport_faults.hpp>
#include <tavrik/message.hpp>
#include <tavrik/tavrik_channel.hpp>

#include <algorithm>
#include <gtest/gtest.h>
#include <string>

namespace {

using support::LogCapture;
using support::patience;
using support::TransportFaults;

class LingerTest : public testing::Test {
 protected:
  // Deletes a connected channel. Nobody is there to take its message.
  void deleteChannel(long linger, bool sends) const {
    tavrik::TavrikChannel client("client", ASYNC_ROUTER_DEALER_PATTERN, ASYNC_DEALER_CLIENT);
    client.setProperty(ASYNC_DEALER_CLIENT_ENDPOINT, endpoint);
    client.setProperty(CHANNEL_LINGER, std::to_string(linger));
    tavrik::Message message(1);
    char subject[SUBJECT_BUFFER_SIZE];
    client.receive(subject, &message, 1);  // connects
    if (sends) client.send("unheard", &message);
  }

  const std::string endpoint = support::tcpEndpoint();
  const LogCapture log;
};

TEST_F(LingerTest, OneThatRunsOutDoesNotDelayTheNextDeletion) {
  deleteChannel(1, true);
  EXPECT_EQ(1U, LogCapture::lines().size());
  LogCapture::clear();
  deleteChannel(patience, false);
  EXPECT_EQ(support::Log{}, LogCapture::lines());
}

TEST_F(LingerTest, OneThatRunsOutKeepsNoSocket) {
  const TransportFaults watch;
  const auto open = [&] {
    return std::count_if(
               watch.calls().begin(), watch.calls().end(),
               [](const auto& call) { return call.text.compare(0, 11, "zmq_socket ") == 0; }) -
           support::count(watch.texts(), "zmq_close");
  };
  deleteChannel(1, true);
  // Later deletions close what the first one had to leave open.
  for (int tries = 0; open() > 0 && tries < 1000; ++tries) deleteChannel(patience, false);
  EXPECT_LE(open(), 0);  // less if another test had left one open
}

}  // namespace
