// Heartbeats between two hosts whose cable is cut for longer than TCP waits between its attempts.
#include "process_pair.hpp"

#include <gtest/gtest.h>
#include <string>
#include <thread>

namespace {

class CutCableTest : public TwoHostsTest, public testing::WithParamInterface<links::Roles> {
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

TEST_P(CutCableTest, TheSameChannelsExchangeMessagesAgainWithinAFewIntervals) {
  const std::string endpoint = endpointOn(hosts->addressOfA);
  links::ProcessPair pair(GetParam(), &hosts->a, endpoint, &hosts->b, endpoint);
  ASSERT_TRUE(pair.exchange());
  cutUntilTriedAgain(10);
  const auto restored = Clock::now();
  EXPECT_TRUE(pair.exchange());
  EXPECT_LT(Clock::now() - restored, links::aFewIntervals);
}

INSTANTIATE_TEST_SUITE_P(, CutCableTest, testing::ValuesIn(links::allPatterns),
                         [](const auto& test) { return test.param.name; });

}  // namespace
