#include <support/failure.hpp>
#include <support/parts.hpp>
#include <support/plain_socket.hpp>
#include <support/request_reply.hpp>
#include <support/transport_faults.hpp>
#include <tavrik/tavrik.h>
#include <tavrik/tavrik_stats.hpp>

#include <zmq.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace {

using namespace std::string_literals;
using namespace support;
using tavrik::channel_poll;
using tavrik::Message;
using tavrik::TavrikChannel;

const std::string member = "Error : Tavrik::TavrikChannel::";
const std::string state = "Operation cannot be accomplished in current state";  // EFSM
const std::string sendText = "Failed to send messagepart : " + state + "zeromq:17530931";
const std::string sendPrefix = "Error : Tavrik::MQWrapper::send() : ";
const std::string receiveText = "Failed to get messagepart : " + state + "zeromq:17727539";
const std::string receivePrefix = "Error : Tavrik::MQWrapper::receive() : ";

tavrikStatistics statsOf(TavrikChannel& channel) {
  tavrikStatistics stats = {9, 9, 9, 9};
  channel.getTavrikStats(&stats);
  return stats;
}

uint32_t livingChannels() {
  TavrikChannel probe("probe", REQUEST_REPLY_PATTERN, REQ_CLIENT);
  probe.initializeStatsMonitoring();
  return statsOf(probe).connections - 1;
}

// Construction.

TEST(ChannelConstructionTest, KeepsNamePatternAndRole) {
  const std::string name(255, 'n');
  const TavrikChannel channel(name, REQUEST_REPLY_PATTERN, REP_SERVER);
  EXPECT_EQ(name, channel.getName());
  EXPECT_EQ(REQUEST_REPLY_PATTERN, channel.getPattern());
  EXPECT_EQ(REP_SERVER, channel.getRole());
}

TEST(ChannelConstructionTest, FailureIsLoggedAndCountsNoChannel) {
  const LogCapture log;
  const uint32_t before = livingChannels();
  const std::string prefix = member + "TavrikChannel() : ";
  EXPECT_LOGGED_FAILURE(std::logic_error, "Channel name cannot exceed 255 characterstavrik:-2",
                        {prefix},
                        TavrikChannel(std::string(256, 'n'), static_cast<pattern_t>(9), PUBLISHER));
  EXPECT_LOGGED_FAILURE(
      std::logic_error, "Invalid Channel name specifiedtavrik:-1",
      (Prefixes{"Error : Tavrik::MsgPattern::MsgPattern() : ",
                "Error : Tavrik::MsgPatternFactory::createMsgPattern() : ", prefix}),
      TavrikChannel("", REQUEST_REPLY_PATTERN, REQ_CLIENT));
  const std::string name(100, 'n');
  const int failed = failEachAllocation(
      [&] { TavrikChannel(name, REQUEST_REPLY_PATTERN, REQ_CLIENT); }, [](bool) {});
  EXPECT_GT(failed, 2);
  EXPECT_EQ(before, livingChannels());
}

TEST(ChannelConstructionTest, OpensNoSocket) {
  const TavrikChannel startsTheTransport("x", REQUEST_REPLY_PATTERN, REQ_CLIENT);
  const TransportFaults watch;
  {
    TavrikChannel channel("x", REQUEST_REPLY_PATTERN, REP_SERVER);
    channel.setProperty(REQ_REP_SERVER_ENDPOINT, inprocEndpoint());
  }
  EXPECT_EQ(Calls{}, watch.texts());
}

// Messages.

class TavrikChannelTest : public testing::Test {
 protected:
  TavrikChannelTest() { std::memset(subject, '#', sizeof subject); }

  bool subjectIsUnwritten() const {
    return std::string(subject, sizeof subject) == std::string(sizeof subject, '#');
  }

  // Connects the server before its first message arrives.
  void connectServer() { EXPECT_EQ(0, server.receive(subject, &message, 0)); }

  LogCapture log;
  RequestReply pair;
  TavrikChannel& server = pair.server;
  TavrikChannel& client = pair.client;
  Message message;
  char subject[SUBJECT_BUFFER_SIZE];
};

TEST_F(TavrikChannelTest, ExchangesRequestAndReply) {
  connectServer();
  message = messageOf({"living room", "now"});
  EXPECT_EQ(2, client.send("temperature", &message));
  EXPECT_EQ((Parts{"living room", "now"}), partsOf(message));

  Message request;
  EXPECT_EQ(2, server.receive(subject, &request, patience));
  EXPECT_STREQ("temperature", subject);
  EXPECT_EQ((Parts{"living room", "now"}), partsOf(request));
  Message reply = messageOf({"21.5"});
  EXPECT_EQ(1, server.send("reading", &reply));

  EXPECT_EQ(1, client.receive(subject, &message, patience));
  EXPECT_STREQ("reading", subject);
  EXPECT_EQ((Parts{"21.5"}), partsOf(message));
  EXPECT_EQ(Log{}, log.lines());
}

// The server is a plain socket.
class ChannelFramesTest : public TavrikChannelTest {
 protected:
  ChannelFramesTest() { peer.bind(pair.endpoint); }

  // Sends a request, to which the peer replies with these frames.
  void expectReply(const Frames& frames) {
    Message request;
    EXPECT_EQ(0, client.send("ask", &request));
    EXPECT_EQ((Frames{"ask"}), peer.receive());
    peer.send(frames);
  }

  PlainSocket peer{ZMQ_REP};
};

TEST_F(ChannelFramesTest, SendsTheSubjectAsTheFirstFrame) {
  const std::string longest(255, 's');
  for (const auto& [sent, parts] : std::vector<std::pair<std::string, Parts>>{
           {"subject", {"a", "", "b\0c"s}}, {"alone", {}}, {"", {"a"}}, {longest, {"a"}}}) {
    message = messageOf(parts);
    EXPECT_EQ(static_cast<int>(parts.size()), client.send(sent.c_str(), &message));
    EXPECT_EQ(parts, partsOf(message));
    Frames expected = parts;
    expected.insert(expected.begin(), sent);
    EXPECT_EQ(expected, peer.receive());
    peer.send({"reply"});
    EXPECT_EQ(0, client.receive(subject, &message, patience));
  }
}

TEST_F(ChannelFramesTest, ReceivesTheFirstFrameAsTheSubject) {
  const auto length = [](std::size_t count) { return std::string(count, 's'); };
  for (const auto& [frame, expected] :
       std::vector<std::pair<std::string, std::string>>{{"subject", "subject"},
                                                        {"", ""},
                                                        {"ab\0cd"s, "ab"},
                                                        {length(253), length(253)},
                                                        {length(254), length(254)},
                                                        {length(255), length(255)},
                                                        {length(256), length(255)},
                                                        {length(300), length(255)}}) {
    expectReply({frame, "a", ""});
    message = messageOf({"old"});
    EXPECT_EQ(2, client.receive(subject, &message, patience));
    EXPECT_EQ(expected, subject);
    EXPECT_EQ((Parts{"a", ""}), partsOf(message));
  }
  expectReply({"alone"});
  EXPECT_EQ(0, client.receive(subject, &message, patience));
  EXPECT_STREQ("alone", subject);
  EXPECT_EQ(0, message.getnumParts());
}

TEST_F(ChannelFramesTest, WritesNoMoreThanTheLengthOfTheFirstFrame) {
  expectReply({"ab\0cd"s, "part"});
  EXPECT_EQ(1, client.receive(subject, &message, patience));
  EXPECT_EQ("ab\0\0\0\0#"s, std::string(subject, 7));
}

TEST_F(TavrikChannelTest, RefusesInvalidArgumentsAndChangesNothing) {
  char data[] = "x";
  void* buffer = data;
  unsigned int size = 77;
  const std::string tooLong(256, 's');
  message = messageOf({"kept"});
  EXPECT_EQ(-1, client.send(nullptr, &message));
  EXPECT_EQ(-1, client.send("x", nullptr));
  EXPECT_EQ(-1, client.send(tooLong.c_str(), &message));
  EXPECT_EQ(-1, client.sendBinary(nullptr, data, 1));
  EXPECT_EQ(-1, client.sendBinary("x", nullptr, 1));
  EXPECT_EQ(-1, client.sendBinary(tooLong.c_str(), data, 1));
  EXPECT_EQ(-1, server.receive(nullptr, &message, 0));
  EXPECT_EQ(-1, server.receive(subject, nullptr, 0));
  EXPECT_EQ(-1, server.receive(subject, &message, -2));
  EXPECT_EQ(-1, server.receiveBinary(nullptr, &buffer, &size, 0));
  EXPECT_EQ(-1, server.receiveBinary(subject, nullptr, &size, 0));
  EXPECT_EQ(-1, server.receiveBinary(subject, &buffer, nullptr, 0));
  EXPECT_EQ(-1, server.receiveBinary(subject, &buffer, &size, -2));
  EXPECT_EQ((Parts{"kept"}), partsOf(message));
  EXPECT_TRUE(subjectIsUnwritten());
  EXPECT_EQ(data, buffer);
  EXPECT_EQ(77U, size);
  EXPECT_EQ(Log{}, log.lines());
}

TEST_F(TavrikChannelTest, ATimeoutEmptiesTheMessageAndWritesNoSubjectOrBuffer) {
  message = messageOf({"old"});
  EXPECT_EQ(0, server.receive(subject, &message, 0));
  EXPECT_EQ(0, message.getnumParts());
  void* buffer = subject;
  unsigned int size = 77;
  EXPECT_EQ(0, server.receiveBinary(subject, &buffer, &size, 0));
  EXPECT_EQ(subject, buffer);
  EXPECT_EQ(77U, size);
  EXPECT_TRUE(subjectIsUnwritten());
}

TEST_F(TavrikChannelTest, EveryWaitPassesItsTimeoutToTheTransport) {
  void* data = nullptr;
  unsigned int size = 0;
  tavrik_pollitem_t item = {&server, TAVRIK_POLLIN, 0};
  const std::vector<std::pair<const char*, std::function<int()>>> waits = {
      {"receive", [&] { return server.receive(subject, &message, 2); }},
      {"receiveBinary", [&] { return server.receiveBinary(subject, &data, &size, 2); }},
      {"channel_poll", [&] { return channel_poll(&item, 1, 2); }},
      {"tavrik_receivemsg", [&] { return tavrik_receivemsg(&server, subject, &message, 2); }},
      {"tavrik_receiveBinary",
       [&] { return tavrik_receiveBinary(&server, subject, &data, &size, 2); }},
      {"tavrik_poll", [&] { return tavrik_poll(&item, 1, 2); }},
  };
  for (const auto& [name, wait] : waits) {
    const TransportFaults watch;
    EXPECT_EQ(0, wait()) << name;
    EXPECT_EQ("zmq_poll 1 2", watch.texts().back()) << name;
  }
}

TEST_F(TavrikChannelTest, AFailedSendLeavesTheMessageUnchangedAndLogsNothing) {
  TavrikChannel lost("x", REQUEST_REPLY_PATTERN, REQ_CLIENT);
  for (const Parts& parts : {Parts{}, Parts{"a", "b"}}) {
    message = messageOf(parts);
    EXPECT_LOGGED_FAILURE(std::runtime_error, sendText, {sendPrefix}, server.send("x", &message));
    EXPECT_EQ(parts, partsOf(message));
    EXPECT_ANY_THROW(lost.send("x", &message)) << "it cannot connect";
    EXPECT_EQ(parts, partsOf(message));
  }
}

TEST_F(TavrikChannelTest, AllocationFailureOfASendLeavesTheMessageUnchanged) {
  const Parts parts = {std::string(100, 'a'), std::string(100, 'b')};
  EXPECT_EQ(0, client.send("connects the client", &message));
  message = messageOf(parts);
  const int failed = failEachAllocation(
      // Out of turn, so that every attempt fails in the end.
      [&] { EXPECT_ANY_THROW(client.send("a subject too long to be stored in place", &message)); },
      [&](bool) { EXPECT_EQ(parts, partsOf(message)); });
  EXPECT_GT(failed, 2);
}

TEST_F(TavrikChannelTest, AFailedReceiveWritesNoSubjectAndLogsNothing) {
  EXPECT_LOGGED_FAILURE(std::runtime_error, receiveText, {receivePrefix},
                        client.receive(subject, &message, 0));
  EXPECT_TRUE(subjectIsUnwritten());
}

// Buffers.

TEST_F(TavrikChannelTest, SendsAndReceivesBuffers) {
  for (std::string data : {"raw\0bytes"s, ""s}) {
    void* buffer = nullptr;
    unsigned int size = 99;
    EXPECT_EQ(0, server.receiveBinary(subject, &buffer, &size, 0));
    EXPECT_EQ(1, client.sendBinary("file", data.data(), static_cast<unsigned int>(data.size())));
    ASSERT_EQ(1, server.receiveBinary(subject, &buffer, &size, patience));
    EXPECT_STREQ("file", subject);
    ASSERT_NE(nullptr, buffer);
    EXPECT_EQ(data, std::string(static_cast<char*>(buffer), size));
    std::free(buffer);
    EXPECT_EQ(0, server.send("done", &message));
    EXPECT_EQ(0, client.receive(subject, &message, patience));
  }
  char any[] = "x";
  EXPECT_EQ(1, client.sendBinary(std::string(255, 's').c_str(), any, 1)) << "the longest subject";
}

TEST_F(ChannelFramesTest, ReceivesTheLastOfSeveralPartsIntoABuffer) {
  expectReply({"subject", "one", "two", "three!"});
  void* buffer = nullptr;
  unsigned int size = 0;
  ASSERT_EQ(3, client.receiveBinary(subject, &buffer, &size, patience));
  EXPECT_STREQ("subject", subject);
  EXPECT_EQ("three!", std::string(static_cast<char*>(buffer), size));
  std::free(buffer);

  expectReply({"alone"});
  buffer = &subject;
  size = 77;
  EXPECT_EQ(0, client.receiveBinary(subject, &buffer, &size, patience));
  EXPECT_STREQ("alone", subject);
  EXPECT_EQ(&subject, buffer);
  EXPECT_EQ(77U, size);
}

TEST_F(TavrikChannelTest, FailuresWithBuffersAreLogged) {
  char data[] = "x";
  EXPECT_LOGGED_FAILURE(std::runtime_error, sendText,
                        (Prefixes{sendPrefix, member + "sendBinary() : "}),
                        server.sendBinary("x", data, 1));
  void* buffer = nullptr;
  unsigned int size = 0;
  EXPECT_LOGGED_FAILURE(std::runtime_error, receiveText,
                        (Prefixes{receivePrefix, member + "receiveBinary() : "}),
                        client.receiveBinary(subject, &buffer, &size, 0));
}

// Properties and destruction.

TEST_F(TavrikChannelTest, RefusesALongValueAndLeavesTheRestToThePattern) {
  EXPECT_EQ(-1, client.setProperty(REQ_REP_SERVER_ENDPOINT, std::string(256, '*')));
  EXPECT_EQ(-1, client.setProperty(PUB_SUB_SUBSCRIBE_FILTER, std::string(256, 'x')));
  EXPECT_EQ(Log{}, log.lines());
  EXPECT_EQ(pair.endpoint, client.getProperty(REQ_REP_SERVER_ENDPOINT));
  const std::string longest(255, 'x');
  EXPECT_EQ(0, client.setProperty(REQ_REP_SERVER_ENDPOINT, longest));
  EXPECT_EQ(longest, client.getProperty(REQ_REP_SERVER_ENDPOINT));
  EXPECT_LOGGED_FAILURE(std::logic_error, "Invalid property - cannot be set : xtavrik:-14",
                        {"Error : Tavrik::RequestReplyMsgPattern::setProperty() : "},
                        client.setProperty(PUB_SUB_SUBSCRIBE_FILTER, "x"));
  connectServer();
  EXPECT_EQ(-1, server.setProperty(REQ_REP_SERVER_ENDPOINT, "inproc://other"));
}

TEST_F(TavrikChannelTest, DestructorClosesTheSocketEndsMonitoringAndCountsOneChannelLess) {
  const uint32_t before = livingChannels();
  auto* const channel = new TavrikChannel("x", REQUEST_REPLY_PATTERN, REP_SERVER);
  EXPECT_EQ(before + 1, livingChannels());
  channel->setProperty(REQ_REP_SERVER_ENDPOINT, inprocEndpoint());
  channel->initializeStatsMonitoring();
  EXPECT_EQ(0, channel->receive(subject, &message, 0));
  const TransportFaults watch;
  delete channel;
  EXPECT_EQ((Calls{"zmq_setsockopt 17 0", "zmq_close"}), watch.texts());
  EXPECT_FALSE(tavrik::TavrikStats::getInstance()->isBeingMonitored(channel));
  EXPECT_EQ(before, livingChannels());
  EXPECT_EQ(Log{}, log.lines());
}

TEST_F(TavrikChannelTest, DestructorLogsAFailureToCloseTheSocket) {
  auto channel = std::make_unique<TavrikChannel>("x", REQUEST_REPLY_PATTERN, REP_SERVER);
  channel->setProperty(REQ_REP_SERVER_ENDPOINT, inprocEndpoint());
  EXPECT_EQ(0, channel->receive(subject, &message, 0));
  TransportFaults faults;
  faults.fail("zmq_close", EDOM);
  channel.reset();
  EXPECT_EQ(
      (Log{debugLine(
          member + "~TavrikChannel() : Failed to  close ZeroMQ Socket : Numerical argument out of "
                   "domainzeromq:17563681")}),
      log.lines());
  zmq_close(const_cast<void*>(faults.calls().back().object));
}

// Polling.

class ChannelPollTest : public TavrikChannelTest {
 protected:
  static tavrik_pollitem_t watch(TavrikChannel& channel, uint16_t events = TAVRIK_POLLIN) {
    return {&channel, events, 0x7fff};
  }
};

TEST_F(ChannelPollTest, RefusesInvalidArguments) {
  std::array<tavrik_pollitem_t, 17> items;
  items.fill(watch(server));
  EXPECT_EQ(-1, channel_poll(nullptr, 1, 0));
  EXPECT_EQ(-1, channel_poll(items.data(), 0, 0));
  EXPECT_EQ(-1, channel_poll(items.data(), 17, 0));
  EXPECT_EQ(-1, channel_poll(items.data(), 1, -2));
  EXPECT_EQ(0x7fff, items[0].revents);
  EXPECT_EQ(Log{}, log.lines());
}

TEST_F(ChannelPollTest, ConnectsReportsEventsAndKeepsTheRecords) {
  tavrik_pollitem_t items[] = {watch(server), watch(client, TAVRIK_POLLIN | TAVRIK_POLLOUT)};
  EXPECT_EQ(1, channel_poll(items, 2, patience)) << "the client may send";
  EXPECT_EQ(0, items[0].revents);
  EXPECT_EQ(TAVRIK_POLLOUT, items[1].revents);
  EXPECT_EQ(-1, server.setProperty(REQ_REP_SERVER_ENDPOINT, "inproc://late")) << "connected";
  EXPECT_EQ(0, client.send("ask", &message));
  EXPECT_EQ(1, channel_poll(items, 2, patience));
  EXPECT_EQ(TAVRIK_POLLIN, items[0].revents);
  EXPECT_EQ(0, items[1].revents);
  EXPECT_EQ(&server, items[0].socket);
  EXPECT_EQ(&client, items[1].socket);
  EXPECT_EQ(TAVRIK_POLLIN, items[0].events);
  EXPECT_EQ(TAVRIK_POLLIN | TAVRIK_POLLOUT, items[1].events);

  std::array<tavrik_pollitem_t, 16> many;
  many.fill(watch(server));
  EXPECT_EQ(16, channel_poll(many.data(), 16, 0)) << "the most that it takes";
  for (const tavrik_pollitem_t& item : many) EXPECT_EQ(TAVRIK_POLLIN, item.revents);
}

TEST_F(ChannelPollTest, FailsForANullChannelBeforeItConnectsAny) {
  tavrik_pollitem_t items[] = {watch(server), {nullptr, TAVRIK_POLLIN, 0x7fff}};
  EXPECT_LOGGED_FAILURE(std::runtime_error, "TavrikChannel object being passed is NULLtavrik:-1",
                        {}, channel_poll(items, 2, 0));
  EXPECT_EQ(&server, items[0].socket);
  EXPECT_EQ(0x7fff, items[0].revents);
  EXPECT_EQ(0, server.setProperty(REQ_REP_SERVER_ENDPOINT, pair.endpoint)) << "not connected";
}

TEST_F(ChannelPollTest, AFailureOfTheTransportPropagatesWithoutALogLine) {
  tavrik_pollitem_t item = watch(server);
  TransportFaults faults;
  faults.fail("zmq_poll", EDOM);
  EXPECT_LOGGED_FAILURE(
      std::runtime_error,
      "Failed to poll on zmq_items : Numerical argument out of domainzeromq:17891361", {},
      channel_poll(&item, 1, 0));
  EXPECT_EQ(&server, item.socket);
}

// Statistics.

TEST_F(TavrikChannelTest, CountsMessagesThatWereSentOrReceivedWhole) {
  server.initializeStatsMonitoring();
  client.initializeStatsMonitoring();
  connectServer();
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(0, client.send("ask", &message));
    EXPECT_EQ(0, server.receive(subject, &message, patience));
    EXPECT_EQ(0, server.send("reply", &message));
    EXPECT_EQ(0, client.receive(subject, &message, patience));
  }
  EXPECT_EQ(0, client.send("ask", &message));
  EXPECT_THROW(client.send("ask", &message), std::runtime_error);
  EXPECT_EQ(0, client.receive(subject, &message, 0));
  EXPECT_EQ(4U, statsOf(client).sentCount);
  EXPECT_EQ(3U, statsOf(client).rcvdCount);
  EXPECT_EQ(2U, statsOf(client).connections);
  EXPECT_EQ(3U, statsOf(server).sentCount);
  EXPECT_EQ(3U, statsOf(server).rcvdCount);

  client.clearTavrikStats();
  EXPECT_EQ(0U, statsOf(client).sentCount);
  client.stopStatsMonitoring();
  EXPECT_FAILURE(std::runtime_error, "The channel is not being monitoredtavrik:-8",
                 statsOf(client));
}

TEST_F(TavrikChannelTest, EachStatisticsMemberLogsAfterTheRegistry) {
  const std::string registry = "Error : Tavrik::TavrikStats::";
  const std::string notMonitored = "The channel is not being monitoredtavrik:-8";
  tavrikStatistics stats = {};
  EXPECT_LOGGED_FAILURE(
      std::runtime_error, notMonitored,
      (Prefixes{registry + "incrementRcvdCount() : ", member + "getTavrikStats() : "}),
      client.getTavrikStats(&stats));
  EXPECT_LOGGED_FAILURE(
      std::runtime_error, "Input parameter is NULLtavrik:-1",
      (Prefixes{registry + "incrementRcvdCount() : ", member + "getTavrikStats() : "}),
      client.getTavrikStats(nullptr));
  EXPECT_LOGGED_FAILURE(
      std::runtime_error, notMonitored,
      (Prefixes{registry + "incrementRcvdCount() : ", member + "clearTavrikStats() : "}),
      client.clearTavrikStats());
  EXPECT_LOGGED_FAILURE(
      std::runtime_error, "Channel entry not found in channel_listtavrik:-7",
      (Prefixes{registry + "removeChannel() : ", member + "stopStatsMonitoring() : "}),
      client.stopStatsMonitoring());
  client.initializeStatsMonitoring();
  EXPECT_LOGGED_FAILURE(
      std::runtime_error, "Channel entry already exists in channel_listtavrik:-6",
      (Prefixes{registry + "insertChannel() : ", member + "initializeStatsMonitoring() : "}),
      client.initializeStatsMonitoring());
}

}  // namespace
