// What several threads may do at the same time. Meant to be run under the thread sanitizer too.
#include <support/plain_socket.hpp>
#include <support/request_reply.hpp>
#include <support/together.hpp>
#include <support/transport_faults.hpp>
#include <tavrik/message.hpp>
#include <tavrik/mq_wrapper.hpp>
#include <tavrik/msg_pattern_factory.hpp>
#include <tavrik/tavrik_channel.hpp>
#include <tavrik/tavrik_stats.hpp>

#include <gtest/gtest.h>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace {

using support::patience;
using support::together;
using tavrik::Message;
using tavrik::MQWrapper;
using tavrik::TavrikChannel;
using tavrik::TavrikStats;

// Makes the maker of the context wait for the other threads, so that they all meet the transport
// half made. A transport that let a second one in would show it before the wait is over.
void waitForASecondMaker() {
  for (int i = 0; i < 2000 && support::contextsMade() == 1; ++i) std::this_thread::yield();
}

// The first use of everything that is made on first use.
TEST(Threads, share_one_transport_one_context_one_factory_and_one_registry) {
  if (support::contextsMade() > 0) GTEST_SKIP() << "needs a process of its own";
  support::beforeContext = waitForASecondMaker;
  constexpr int count = 8;
  std::vector<void*> transports(count);
  std::vector<void*> factories(count);
  std::vector<void*> registries(count);
  together(count, [&](int i) {
    const auto index = static_cast<std::size_t>(i);
    transports[index] = MQWrapper::getInstance();
    factories[index] = tavrik::MsgPatternFactory::getInstance();
    registries[index] = TavrikStats::getInstance();
  });
  EXPECT_EQ(1U, std::set<void*>(transports.begin(), transports.end()).size());
  EXPECT_EQ(1U, std::set<void*>(factories.begin(), factories.end()).size());
  EXPECT_EQ(1U, std::set<void*>(registries.begin(), registries.end()).size());
  EXPECT_EQ(1, support::contextsMade());
}

tavrikStatistics statsOf(TavrikChannel& channel) {
  tavrikStatistics stats = {};
  channel.getTavrikStats(&stats);
  return stats;
}

TEST(Threads, with_a_channel_each_count_exactly_what_they_sent_and_received) {
  constexpr int count = 4;
  constexpr unsigned int roundTrips = 500;
  together(count, [&](int i) {
    support::RequestReply pair;
    TavrikChannel unmonitored("quiet", REQUEST_REPLY_PATTERN, REQ_CLIENT);
    pair.server.initializeStatsMonitoring();
    pair.client.initializeStatsMonitoring();
    char subject[SUBJECT_BUFFER_SIZE];
    Message message;
    EXPECT_EQ(0, pair.server.receive(subject, &message, 0));
    // Each thread does its own number, so that one that is counted for another is noticed.
    const unsigned int own = roundTrips + static_cast<unsigned int>(i);
    for (unsigned int n = 0; n < own; ++n) {
      pair.client.send("ask", &message);
      pair.server.receive(subject, &message, patience);
      pair.server.send("answer", &message);
      pair.client.receive(subject, &message, patience);
    }
    pair.client.send("one more", &message);
    pair.server.receive(subject, &message, patience);
    EXPECT_EQ(own + 1, statsOf(pair.client).sentCount);
    EXPECT_EQ(own, statsOf(pair.client).rcvdCount);
    EXPECT_EQ(own, statsOf(pair.server).sentCount);
    EXPECT_EQ(own + 1, statsOf(pair.server).rcvdCount);
    pair.client.clearTavrikStats();
    EXPECT_EQ(0U, statsOf(pair.client).sentCount);
    EXPECT_EQ(own, statsOf(pair.server).sentCount);
  });
}

TEST(Threads, create_monitor_and_destroy_channels_and_the_count_comes_out_right) {
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
