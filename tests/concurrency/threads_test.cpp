// What several threads may do at the same time. Meant to run under the thread sanitizer too.
#include <support/mutex_watch.hpp>
#include <support/plain_socket.hpp>
#include <support/request_reply.hpp>
#include <support/together.hpp>
#include <support/transport_faults.hpp>
#include <tavrik/message.hpp>
#include <tavrik/mq_wrapper.hpp>
#include <tavrik/msg_pattern_factory.hpp>
#include <tavrik/tavrik_stats.hpp>

#include <gtest/gtest.h>
#include <set>
#include <vector>

namespace {

using namespace support;
using tavrik::Message;
using tavrik::MQWrapper;
using tavrik::TavrikChannel;
using tavrik::TavrikStats;

constexpr int makers = 8;

// Lets the thread that makes the context wait until every other one waits for the creation lock, or
// makes a second context.
void waitForTheOthers() {
  happensWithoutTheMutex([] { return contextsMade() > 1; }, makers - 1);
}

TEST(ThreadsTest, FirstUseFromSeveralThreadsMakesEachSingletonOnce) {
  if (contextsMade() > 0) GTEST_SKIP() << "needs a process of its own";
  beforeContext = waitForTheOthers;
  std::vector<void*> transports(makers);
  std::vector<void*> factories(makers);
  std::vector<void*> registries(makers);
  together(makers, [&](int i) {
    const auto index = static_cast<std::size_t>(i);
    transports[index] = MQWrapper::getInstance();
    factories[index] = tavrik::MsgPatternFactory::getInstance();
    registries[index] = TavrikStats::getInstance();
  });
  for (const std::vector<void*>& made : {transports, factories, registries}) {
    EXPECT_EQ(1U, std::set<void*>(made.begin(), made.end()).size());
  }
  EXPECT_EQ(1, contextsMade());
}

tavrikStatistics statsOf(TavrikChannel& channel) {
  tavrikStatistics stats = {};
  channel.getTavrikStats(&stats);
  return stats;
}

TEST(ThreadsTest, EachChannelCountsItsOwnMessages) {
  constexpr int count = 4;
  constexpr unsigned int roundTrips = 500;
  together(count, [&](int i) {
    RequestReply pair;
    TavrikChannel unmonitored("quiet", REQUEST_REPLY_PATTERN, REQ_CLIENT);
    pair.server.initializeStatsMonitoring();
    pair.client.initializeStatsMonitoring();
    char subject[SUBJECT_BUFFER_SIZE];
    Message message;
    EXPECT_EQ(0, pair.server.receive(subject, &message, 0));
    // The numbers differ, so that a message that another thread's channel counts is noticed.
    const unsigned int own = roundTrips + static_cast<unsigned int>(i);
    for (unsigned int n = 0; n < own; ++n) {
      ASSERT_EQ(0, pair.client.send("ask", &message));
      ASSERT_EQ(0, pair.server.receive(subject, &message, patience));
      ASSERT_EQ(0, pair.server.send("reply", &message));
      ASSERT_EQ(0, pair.client.receive(subject, &message, patience));
    }
    ASSERT_EQ(0, pair.client.send("one more", &message));
    ASSERT_EQ(0, pair.server.receive(subject, &message, patience));
    EXPECT_EQ(own + 1, statsOf(pair.client).sentCount);
    EXPECT_EQ(own, statsOf(pair.client).rcvdCount);
    EXPECT_EQ(own, statsOf(pair.server).sentCount);
    EXPECT_EQ(own + 1, statsOf(pair.server).rcvdCount);
    pair.client.clearTavrikStats();
    EXPECT_EQ(0U, statsOf(pair.client).sentCount);
    EXPECT_EQ(own, statsOf(pair.server).sentCount);
  });
}

TEST(ThreadsTest, CreatingMonitoringAndDestroyingChannelsKeepsTheirNumberRight) {
  TavrikChannel witness("witness", REQUEST_REPLY_PATTERN, REQ_CLIENT);
  witness.initializeStatsMonitoring();
  together(4, [&](int) {
    for (int n = 0; n < 200; ++n) {
      TavrikChannel channel("short", REQUEST_REPLY_PATTERN, REQ_CLIENT);
      channel.initializeStatsMonitoring();
      EXPECT_GE(statsOf(channel).connections, 2U);
      channel.clearTavrikStats();
      TavrikStats::getInstance()->updateConnectionState(&channel);
      if (n % 2 == 0) channel.stopStatsMonitoring();
    }
  });
  EXPECT_EQ(1U, statsOf(witness).connections);
}

}  // namespace
