// Heartbeats between two hosts whose cable is cut for longer than TCP waits between its attempts.
#include "../network/remote_channel.hpp"
#include "../network/two_hosts_test.hpp"

#include <gtest/gtest.h>
#include <string>
#include <thread>

namespace {

constexpr long interval = 100;  // milliseconds

class CutCableTest : public TwoHostsTest {
 protected:
  long connectionsTried() const { return hosts->b.tcpCounter("ActiveOpens"); }

  // Cuts the cable until the client has tried to connect so many times.
  void cutUntilTriedAgain(int times) {
    const long before = connectionsTried();
    const auto end = endOfPatience();
    hosts->a.pullCable();
    while (connectionsTried() < before + times && Clock::now() < end) std::this_thread::yield();
    hosts->a.plugCable();
    EXPECT_GE(connectionsTried(), before + times);
  }
};

TEST_F(CutCableTest, AClientIsAnsweredAgainWithinAFewIntervals) {
  const std::string endpoint = endpointOn(hosts->addressOfA);
  const std::string heartbeat = std::to_string(interval);
  const auto worker =
      hosts->a.start({ECHO_WORKER, endpoint, std::to_string(CHANNEL_HEARTBEAT) + "=" + heartbeat});
  ASSERT_EQ("ready", worker->line());
  RemoteChannel client(hosts->b, "client", ASYNC_ROUTER_DEALER_PATTERN, ASYNC_DEALER_CLIENT,
                       {{ASYNC_DEALER_CLIENT_ENDPOINT, endpoint}, {CHANNEL_HEARTBEAT, heartbeat}});
  ASSERT_EQ(sent, client.send("ask", "before"));
  ASSERT_EQ("ask before", client.receive());

  cutUntilTriedAgain(10);
  const auto restored = Clock::now();
  EXPECT_EQ(sent, client.send("ask", "after"));
  EXPECT_EQ("ask after", client.receive());
  EXPECT_LT(Clock::now() - restored, std::chrono::milliseconds(30 * interval));
}

}  // namespace
