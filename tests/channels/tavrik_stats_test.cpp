#include <support/failure.hpp>
#include <support/request_reply.hpp>
#include <support/test_peer.hpp>
#include <tavrik/message.hpp>
#include <tavrik/tavrik.h>
#include <tavrik/tavrik_stats.hpp>

#include <functional>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace {

using support::TestPeer;
using tavrik::TavrikChannel;
using tavrik::TavrikStats;

const std::string inputNull = "Input parameter is NULLtavrik:-1";
const std::string notMonitored = "The channel is not being monitoredtavrik:-8";

using Counters = std::vector<uint32_t>;

Counters counters(const tavrikStatistics& stats) {
  return {stats.rcvdCount, stats.sentCount, stats.connectionState, stats.connections};
}

class TavrikStatsTest : public testing::Test {
 protected:
  // Connects a channel and returns its socket, by which the transport counts.
  static void* socketOf(TavrikChannel& channel) {
    char subject[SUBJECT_BUFFER_SIZE];
    tavrik::Message message;
    EXPECT_EQ(0, channel.receive(subject, &message, 0));
    return TestPeer::socketOf(channel);
  }

  Counters read(TavrikChannel& monitored) {
    tavrikStatistics out = {9, 9, 9, 9};
    stats.getTavrikStats(&monitored, &out);
    return counters(out);
  }

  support::LogCapture log;
  TavrikStats& stats = *TavrikStats::getInstance();
  support::RequestReply pair;
  TavrikChannel& channel = pair.server;
};

TEST_F(TavrikStatsTest, IsOnePerProcess) {
  EXPECT_EQ(&stats, TavrikStats::getInstance());
}

TEST_F(TavrikStatsTest, CountsBySocketFromZero) {
  stats.insertChannel(&channel);
  stats.insertChannel(&pair.client);
  EXPECT_EQ((Counters{0, 0, 0, 2}), read(channel));
  void* const socket = socketOf(channel);
  stats.incrementSentCount(socket);
  stats.incrementSentCount(socket);
  stats.incrementRcvdCount(socket);
  stats.updateConnectionState(socket);
  EXPECT_EQ((Counters{1, 2, 0, 2}), read(channel));
  EXPECT_EQ((Counters{0, 0, 0, 2}), read(pair.client));
  stats.removeChannel(&pair.client);
  EXPECT_EQ((Counters{1, 2, 0, 2}), read(channel)) << "the removal of another entry";
  stats.clearTavrikStats(&channel);
  EXPECT_EQ((Counters{0, 0, 0, 2}), read(channel));
}

TEST_F(TavrikStatsTest, CountsForEveryChannelThatUsesTheSocket) {
  TavrikChannel other("x", REQUEST_REPLY_PATTERN, REP_SERVER);
  tavrik::MsgPattern* const own = TestPeer::patternOf(other);
  void* const socket = socketOf(channel);
  TestPeer::patternOf(other) = TestPeer::patternOf(channel);
  stats.insertChannel(&channel);
  stats.insertChannel(&other);
  stats.incrementSentCount(socket);
  stats.incrementRcvdCount(socket);
  stats.incrementRcvdCount(&stats);  // sockets that no monitored channel uses are ignored
  stats.incrementSentCount(&stats);
  stats.updateConnectionState(&stats);
  EXPECT_EQ((Counters{1, 1, 0, 3}), read(channel));
  EXPECT_EQ((Counters{1, 1, 0, 3}), read(other));
  TestPeer::patternOf(other) = own;
}

// A member that fails.
struct Refusal {
  std::string loggedAs;
  std::string text;
  std::function<void()> call;
};

TEST_F(TavrikStatsTest, EveryMemberRefusesNullAndWhatIsNotMonitored) {
  tavrikStatistics out = {9, 9, 9, 9};
  const std::string notFound = "Channel entry not found in channel_listtavrik:-7";
  const std::vector<Refusal> refusals = {
      {"incrementRcvdCount", inputNull, [&] { stats.incrementRcvdCount(nullptr); }},
      {"incrementSentCount", inputNull, [&] { stats.incrementSentCount(nullptr); }},
      {"updateConnectionState", inputNull, [&] { stats.updateConnectionState(nullptr); }},
      {"insertChannel", inputNull, [&] { stats.insertChannel(nullptr); }},
      {"removeChannel", inputNull, [&] { stats.removeChannel(nullptr); }},
      {"removeChannel", notFound, [&] { stats.removeChannel(&channel); }},
      {"incrementRcvdCount", inputNull, [&] { stats.getTavrikStats(nullptr, &out); }},
      {"incrementRcvdCount", inputNull, [&] { stats.getTavrikStats(&channel, nullptr); }},
      {"incrementRcvdCount", notMonitored, [&] { stats.getTavrikStats(&channel, &out); }},
      {"incrementRcvdCount", "Channel instance is NULLtavrik:-1",
       [&] { stats.clearTavrikStats(nullptr); }},
      {"incrementRcvdCount", notMonitored, [&] { stats.clearTavrikStats(&channel); }},
  };
  for (const Refusal& row : refusals) {
    EXPECT_LOGGED_FAILURE(std::runtime_error, row.text,
                          {"Error : Tavrik::TavrikStats::" + row.loggedAs + "() : "}, row.call());
  }
  EXPECT_EQ((Counters{9, 9, 9, 9}), counters(out));

  // The log function may call the registry, which must not be locked then.
  tavrik_Install_Logfn([](int, const char*) {
    EXPECT_FALSE(TavrikStats::getInstance()->isBeingMonitored(nullptr));
  });
  for (const Refusal& row : refusals) EXPECT_THROW(row.call(), std::runtime_error);
}

TEST_F(TavrikStatsTest, MonitorsAChannelFromItsInsertionToItsRemoval) {
  EXPECT_FALSE(stats.isBeingMonitored(&channel));
  stats.insertChannel(&channel);
  EXPECT_TRUE(stats.isBeingMonitored(&channel));
  EXPECT_FALSE(stats.isBeingMonitored(&pair.client));
  EXPECT_FALSE(stats.isBeingMonitored(nullptr));
  EXPECT_LOGGED_FAILURE(std::runtime_error, "Channel entry already exists in channel_listtavrik:-6",
                        {"Error : Tavrik::TavrikStats::insertChannel() : "},
                        stats.insertChannel(&channel));
  stats.removeChannel(&channel);
  EXPECT_FALSE(stats.isBeingMonitored(&channel));
  EXPECT_FAILURE(std::runtime_error, notMonitored, read(channel));
}

TEST_F(TavrikStatsTest, CountsLivingChannels) {
  stats.insertChannel(&channel);
  stats.incrementConnections();
  EXPECT_EQ((Counters{0, 0, 0, 3}), read(channel));
  stats.decrementConnections();
  EXPECT_EQ((Counters{0, 0, 0, 2}), read(channel));
}

TEST_F(TavrikStatsTest, AllocationFailureInsertsNothingAndIsLogged) {
  const int failures =
      support::failEachAllocation([&] { stats.insertChannel(&channel); },
                                  [&](bool failed) {
                                    EXPECT_EQ(!failed, stats.isBeingMonitored(&channel));
                                    EXPECT_EQ(failed ? 1U : 0U, log.lines().size());
                                    log.clear();
                                  });
  EXPECT_GE(failures, 1);
}

}  // namespace
