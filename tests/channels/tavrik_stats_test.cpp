#include <support/failing_allocator.hpp>
#include <support/failure.hpp>
#include <support/log_capture.hpp>
#include <support/private_member.hpp>
#include <support/request_reply.hpp>
#include <tavrik/message.hpp>
#include <tavrik/msg_pattern.hpp>
#include <tavrik/tavrik.h>
#include <tavrik/tavrik_channel.hpp>
#include <tavrik/tavrik_stats.hpp>

#include <gtest/gtest.h>
#include <string>

namespace {

using support::debugLine;
using support::Log;
using support::LogCapture;
using tavrik::TavrikChannel;
using tavrik::TavrikStats;

const std::string prefix = "Error : Tavrik::TavrikStats::";
const std::string inputNull = "Input parameter is NULLtavrik:-1";

class Stats : public testing::Test {
 protected:
  // Connects a channel; its socket is what the transport reports.
  static void* socketOf(TavrikChannel& channel) {
    char subject[SUBJECT_BUFFER_SIZE];
    tavrik::Message message;
    channel.receive(subject, &message, 0);
    return support::socketOf(channel);
  }

  tavrikStatistics read(TavrikChannel& monitored) {
    tavrikStatistics out = {9, 9, 9, 9};
    stats.getTavrikStats(&monitored, &out);
    return out;
  }

  LogCapture log;
  TavrikStats& stats = *TavrikStats::getInstance();
  support::RequestReply pair;
  TavrikChannel& channel = pair.server;
};

TEST_F(Stats, are_one_per_process) {
  EXPECT_EQ(&stats, TavrikStats::getInstance());
}

TEST_F(Stats, start_at_0_with_the_living_channels_beside) {
  stats.insertChannel(&channel);
  const tavrikStatistics out = read(channel);
  EXPECT_EQ(0U, out.rcvdCount);
  EXPECT_EQ(0U, out.sentCount);
  EXPECT_EQ(0U, out.connectionState);
  EXPECT_EQ(2U, out.connections);
}

TEST_F(Stats, count_by_socket) {
  stats.insertChannel(&channel);
  stats.insertChannel(&pair.client);
  void* const socket = socketOf(channel);
  stats.incrementSentCount(socket);
  stats.incrementSentCount(socket);
  stats.incrementRcvdCount(socket);
  EXPECT_EQ(2U, read(channel).sentCount);
  EXPECT_EQ(1U, read(channel).rcvdCount);
  EXPECT_EQ(0U, read(pair.client).sentCount);
  EXPECT_EQ(0U, read(pair.client).rcvdCount);
  EXPECT_EQ(Log{}, log.lines());
}

TEST_F(Stats, count_for_every_channel_that_uses_the_socket) {
  TavrikChannel other("x", REQUEST_REPLY_PATTERN, REP_SERVER);
  tavrik::MsgPattern* const own = support::patternOf(other);
  void* const socket = socketOf(channel);
  support::patternOf(other) = support::patternOf(channel);
  stats.insertChannel(&channel);
  stats.insertChannel(&other);
  stats.incrementSentCount(socket);
  stats.incrementRcvdCount(socket);
  for (TavrikChannel* const each : {&channel, &other}) {
    EXPECT_EQ(1U, read(*each).sentCount);
    EXPECT_EQ(1U, read(*each).rcvdCount);
  }
  support::patternOf(other) = own;
}

TEST_F(Stats, ignore_a_socket_that_no_monitored_channel_uses) {
  stats.insertChannel(&pair.client);
  stats.incrementSentCount(socketOf(channel));
  stats.incrementRcvdCount(&stats);
  stats.updateConnectionState(&stats);
  EXPECT_EQ(0U, read(pair.client).sentCount);
  EXPECT_EQ(0U, read(pair.client).rcvdCount);
  EXPECT_EQ(Log{}, log.lines());
}

TEST_F(Stats, refuse_a_null_socket) {
  EXPECT_FAILURE(std::runtime_error, inputNull, stats.incrementRcvdCount(nullptr));
  EXPECT_FAILURE(std::runtime_error, inputNull, stats.incrementSentCount(nullptr));
  EXPECT_FAILURE(std::runtime_error, inputNull, stats.updateConnectionState(nullptr));
  EXPECT_EQ((Log{debugLine(prefix + "incrementRcvdCount() : " + inputNull),
                 debugLine(prefix + "incrementSentCount() : " + inputNull),
                 debugLine(prefix + "updateConnectionState() : " + inputNull)}),
            log.lines());
}

TEST_F(Stats, connection_state_stays_0) {
  stats.insertChannel(&channel);
  stats.updateConnectionState(socketOf(channel));
  EXPECT_EQ(0U, read(channel).connectionState);
}

TEST_F(Stats, insert_refuses_null_and_a_second_time) {
  EXPECT_FAILURE(std::runtime_error, inputNull, stats.insertChannel(nullptr));
  stats.insertChannel(&channel);
  const std::string exists = "Channel entry already exists in channel_listtavrik:-6";
  EXPECT_FAILURE(std::runtime_error, exists, stats.insertChannel(&channel));
  EXPECT_EQ((Log{debugLine(prefix + "insertChannel() : " + inputNull),
                 debugLine(prefix + "insertChannel() : " + exists)}),
            log.lines());
}

TEST_F(Stats, remove_refuses_null_and_the_unmonitored) {
  const std::string notFound = "Channel entry not found in channel_listtavrik:-7";
  EXPECT_FAILURE(std::runtime_error, inputNull, stats.removeChannel(nullptr));
  EXPECT_FAILURE(std::runtime_error, notFound, stats.removeChannel(&channel));
  stats.insertChannel(&channel);
  stats.removeChannel(&channel);
  EXPECT_FAILURE(std::runtime_error, notFound, stats.removeChannel(&channel));
  EXPECT_EQ((Log{debugLine(prefix + "removeChannel() : " + inputNull),
                 debugLine(prefix + "removeChannel() : " + notFound),
                 debugLine(prefix + "removeChannel() : " + notFound)}),
            log.lines());
}

TEST_F(Stats, removal_keeps_the_others_counters) {
  stats.insertChannel(&channel);
  stats.insertChannel(&pair.client);
  stats.incrementSentCount(socketOf(channel));
  stats.removeChannel(&pair.client);
  EXPECT_EQ(1U, read(channel).sentCount);
}

TEST_F(Stats, know_who_is_monitored) {
  EXPECT_FALSE(stats.isBeingMonitored(&channel));
  EXPECT_FALSE(stats.isBeingMonitored(nullptr));
  stats.insertChannel(&channel);
  EXPECT_TRUE(stats.isBeingMonitored(&channel));
  EXPECT_FALSE(stats.isBeingMonitored(&pair.client));
  EXPECT_FALSE(stats.isBeingMonitored(nullptr));
  stats.removeChannel(&channel);
  EXPECT_FALSE(stats.isBeingMonitored(&channel));
}

TEST_F(Stats, get_refuses_null_and_the_unmonitored_and_leaves_the_record_alone) {
  tavrikStatistics out = {9, 9, 9, 9};
  EXPECT_FAILURE(std::runtime_error, inputNull, stats.getTavrikStats(nullptr, &out));
  EXPECT_FAILURE(std::runtime_error, inputNull, stats.getTavrikStats(&channel, nullptr));
  const std::string notMonitored = "The channel is not being monitoredtavrik:-8";
  EXPECT_FAILURE(std::runtime_error, notMonitored, stats.getTavrikStats(&channel, &out));
  EXPECT_EQ(9U, out.rcvdCount);
  EXPECT_EQ(9U, out.sentCount);
  EXPECT_EQ(9U, out.connectionState);
  EXPECT_EQ(9U, out.connections);
  EXPECT_EQ((Log{debugLine(prefix + "incrementRcvdCount() : " + inputNull),
                 debugLine(prefix + "incrementRcvdCount() : " + inputNull),
                 debugLine(prefix + "incrementRcvdCount() : " + notMonitored)}),
            log.lines());
}

TEST_F(Stats, clear_sets_the_counters_to_0_and_leaves_the_living_channels) {
  stats.insertChannel(&channel);
  void* const socket = socketOf(channel);
  stats.incrementSentCount(socket);
  stats.incrementRcvdCount(socket);
  stats.clearTavrikStats(&channel);
  const tavrikStatistics out = read(channel);
  EXPECT_EQ(0U, out.sentCount);
  EXPECT_EQ(0U, out.rcvdCount);
  EXPECT_EQ(0U, out.connectionState);
  EXPECT_EQ(2U, out.connections);
}

TEST_F(Stats, clear_refuses_null_in_words_of_its_own_and_the_unmonitored) {
  const std::string instanceNull = "Channel instance is NULLtavrik:-1";
  const std::string notMonitored = "The channel is not being monitoredtavrik:-8";
  EXPECT_FAILURE(std::runtime_error, instanceNull, stats.clearTavrikStats(nullptr));
  EXPECT_FAILURE(std::runtime_error, notMonitored, stats.clearTavrikStats(&channel));
  EXPECT_EQ((Log{debugLine(prefix + "incrementRcvdCount() : " + instanceNull),
                 debugLine(prefix + "incrementRcvdCount() : " + notMonitored)}),
            log.lines());
}

TEST_F(Stats, living_channels_go_up_and_down) {
  stats.insertChannel(&channel);
  stats.incrementConnections();
  EXPECT_EQ(3U, read(channel).connections);
  stats.decrementConnections();
  EXPECT_EQ(2U, read(channel).connections);
}

TEST_F(Stats, without_memory_a_channel_is_not_inserted) {
  int failing = 1;
  for (bool inserted = false; !inserted; ++failing) {
    SCOPED_TRACE(failing);
    log.clear();
    const support::AllocationFailure failure(failing);
    try {
      stats.insertChannel(&channel);
      inserted = true;
    } catch (const std::bad_alloc&) {
      EXPECT_EQ((Log{debugLine(prefix + "insertChannel() : std::bad_alloc")}), log.lines());
    }
    EXPECT_EQ(inserted, stats.isBeingMonitored(&channel));
  }
  EXPECT_GE(failing, 3) << "neither the entry nor the list needed memory";
}

// A log function that comes back into the registry must not find it locked.
void readingLogFunction(int, const char*) {
  EXPECT_FALSE(TavrikStats::getInstance()->isBeingMonitored(nullptr));
}

TEST_F(Stats, are_not_locked_while_a_failure_is_logged) {
  tavrik_Install_Logfn(readingLogFunction);
  EXPECT_THROW(stats.insertChannel(nullptr), std::runtime_error);
  EXPECT_THROW(stats.removeChannel(nullptr), std::runtime_error);
  EXPECT_THROW(stats.getTavrikStats(nullptr, nullptr), std::runtime_error);
  EXPECT_THROW(stats.clearTavrikStats(nullptr), std::runtime_error);
  EXPECT_THROW(stats.incrementRcvdCount(nullptr), std::runtime_error);
  EXPECT_THROW(stats.incrementSentCount(nullptr), std::runtime_error);
  EXPECT_THROW(stats.updateConnectionState(nullptr), std::runtime_error);
}

}  // namespace
