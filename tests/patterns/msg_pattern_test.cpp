#include <support/failure.hpp>
#include <support/parts.hpp>
#include <support/plain_socket.hpp>
#include <support/temp_dir.hpp>
#include <support/test_peer.hpp>
#include <support/transport_faults.hpp>
#include <tavrik/mq_wrapper.hpp>
#include <tavrik/msg_pattern.hpp>

#include <zmq.h>

#include <array>
#include <gtest/gtest.h>
#include <string>

namespace {

using namespace support;
using tavrik::Message;
using tavrik::MsgPattern;
using tavrik::pattern_poll;

// The smallest pattern: a PAIR socket that may be bound to an endpoint.
class BarePattern : public MsgPattern {
 public:
  explicit BarePattern(const std::string& channelName, const std::string& boundTo = "")
      : MsgPattern(channelName, REP_SERVER), endpoint(boundTo) {}

  void connectEndpoint() override {
    ++connections;
    socket = transport->createEndpt(ZMQ_PAIR);
    setTosSockOption(socket);
    if (!endpoint.empty()) transport->registerSender(socket, endpoint);
  }
  int setProperty(channel_prop_t, const std::string& value) override {
    return setTosPropVal(value);
  }
  std::string getProperty(channel_prop_t) override { return getTosPropVal(); }
  int send(Message* msg) override { return transport->send(socket, msg); }
  int receive(Message* msg, long timeout) override {
    return transport->receive(socket, msg, timeout);
  }

  int connections = 0;

 private:
  std::string endpoint;
};

const std::string tosPrefix = "Error : Tavrik::MsgPattern::setTosPropVal() : ";

class MsgPatternTest : public testing::Test {
 protected:
  LogCapture log;
  TempDir dir;
};

TEST_F(MsgPatternTest, RefusesAnEmptyNameOnly) {
  EXPECT_NO_THROW(BarePattern("x"));
  EXPECT_NO_THROW(BarePattern(std::string(1000, 'x'))) << "the channel checks the length";
  EXPECT_LOGGED_FAILURE(std::logic_error, "Invalid Channel name specifiedtavrik:-1",
                        {"Error : Tavrik::MsgPattern::MsgPattern() : "}, BarePattern(""));
}

TEST_F(MsgPatternTest, AnEndpointIsValidWithoutAnAsterisk) {
  const BarePattern pattern("x");
  for (const char* const valid : {"tcp://127.0.0.1:5555", "", "nonsense"}) {
    EXPECT_TRUE(pattern.isValidEndpt(valid));
  }
  for (const char* const invalid : {"tcp://*:5555", "tcp://127.0.0.1:*", "*"}) {
    EXPECT_FALSE(pattern.isValidEndpt(invalid));
  }
}

TEST_F(MsgPatternTest, TypeOfServiceIsKeptAsTheTextGiven) {
  BarePattern pattern("x");
  EXPECT_EQ("0", pattern.getTosPropVal());
  EXPECT_EQ(0U, TestPeer::propertiesOf(pattern).size());
  for (const char* const value : {"0", "255", "16", "abc", "", "12abc", " 7", "4294967296"}) {
    EXPECT_EQ(0, pattern.setTosPropVal(value));
    EXPECT_EQ(value, pattern.getTosPropVal());
  }
  EXPECT_EQ(1U, TestPeer::propertiesOf(pattern).size());
}

TEST_F(MsgPatternTest, TypeOfServiceIsRefusedOutOfRangeAndThenOnceConnected) {
  BarePattern pattern("x");
  pattern.setTosPropVal("7");
  for (const bool connected : {false, true}) {
    if (connected) pattern.connectEndpoint();
    for (const std::string value : {"256", "-1", "1000", "4294967295", "256abc"}) {
      EXPECT_LOGGED_FAILURE(std::logic_error,
                            "Invalid value for prop CHANNEL_TOS_PRIORITY: " + value + "tavrik:-9",
                            {tosPrefix}, pattern.setTosPropVal(value));
    }
  }
  EXPECT_LOGGED_FAILURE(std::logic_error, "channel is already connected10tavrik:-11", {tosPrefix},
                        pattern.setTosPropVal("10"));
  EXPECT_EQ("7", pattern.getTosPropVal());
}

TEST_F(MsgPatternTest, AppliesTheTypeOfServiceToASocket) {
  const TransportFaults watch;
  BarePattern unset("x");
  unset.connectEndpoint();
  EXPECT_EQ("zmq_setsockopt 57 0", watch.texts().back());
  EXPECT_EQ(0U, TestPeer::propertiesOf(unset).size());
  BarePattern set("x");
  set.setTosPropVal("184");
  set.connectEndpoint();
  EXPECT_EQ("zmq_setsockopt 57 184", watch.texts().back());
}

TEST_F(MsgPatternTest, DestructorClosesTheSocketIfThereIsOne) {
  auto* const pattern = new BarePattern("x");
  pattern->connectEndpoint();
  auto* const unconnected = new BarePattern("x");
  const TransportFaults watch;
  delete unconnected;
  EXPECT_EQ(Calls{}, watch.texts());
  delete pattern;
  EXPECT_EQ((Calls{"zmq_setsockopt 17 0", "zmq_close"}), watch.texts());
}

TEST_F(MsgPatternTest, DestructorThrowsAFailureToClose) {
  auto* const pattern = new BarePattern("x");
  pattern->connectEndpoint();
  void* const socket = TestPeer::socketOf(*pattern);
  {
    TransportFaults faults;
    faults.fail("zmq_close", EDOM);
    EXPECT_FAILURE(
        std::runtime_error,
        "Failed to  close ZeroMQ Socket : Numerical argument out of domainzeromq:17563681",
        delete pattern);
  }
  zmq_close(socket);
}

class PatternPollTest : public MsgPatternTest {
 protected:
  static tavrik_pollitem_t watch(MsgPattern& pattern) { return {&pattern, TAVRIK_POLLIN, 0x7fff}; }
};

TEST_F(PatternPollTest, RefusesInvalidArgumentsBeforeItConnects) {
  BarePattern pattern("x");
  std::array<tavrik_pollitem_t, 17> items;
  items.fill(watch(pattern));
  EXPECT_EQ(-1, pattern_poll(nullptr, 1, 0));
  EXPECT_EQ(-1, pattern_poll(items.data(), 0, 0));
  EXPECT_EQ(-1, pattern_poll(items.data(), 17, 0));
  EXPECT_EQ(-1, pattern_poll(items.data(), 1, -2));
  EXPECT_EQ(0, pattern.connections);
  EXPECT_EQ(&pattern, items[0].socket);
  EXPECT_EQ(Log{}, log.lines());
}

TEST_F(PatternPollTest, ConnectsAndReplacesEachPatternByItsSocket) {
  BarePattern first("x");
  BarePattern second("x");
  second.connectEndpoint();
  tavrik_pollitem_t items[] = {watch(first), watch(second)};
  const TransportFaults calls;
  EXPECT_EQ(0, pattern_poll(items, 2, 2));
  EXPECT_EQ("zmq_poll 2 2", calls.texts().back());
  EXPECT_EQ(1, first.connections);
  EXPECT_EQ(1, second.connections) << "connected again";
  ASSERT_NE(nullptr, TestPeer::socketOf(first));
  EXPECT_EQ(TestPeer::socketOf(first), items[0].socket);
  EXPECT_EQ(TestPeer::socketOf(second), items[1].socket);
  EXPECT_EQ(0, items[0].revents);
  EXPECT_EQ(0, items[1].revents);
}

TEST_F(PatternPollTest, PollsSixteenPatternsAndReportsEvents) {
  const std::string endpoint = dir.ipcEndpoint();
  BarePattern pattern("x", endpoint);
  pattern.connectEndpoint();
  std::array<tavrik_pollitem_t, 16> items;
  items.fill(watch(pattern));
  PlainSocket peer(ZMQ_PAIR);
  peer.connect(endpoint);
  peer.send({"a"});
  tavrik_pollitem_t arrival = watch(pattern);
  ASSERT_EQ(1, pattern_poll(&arrival, 1, patience));
  EXPECT_EQ(16, pattern_poll(items.data(), 16, patience));
  for (const tavrik_pollitem_t& item : items) EXPECT_EQ(TAVRIK_POLLIN, item.revents);
}

TEST_F(PatternPollTest, FailsAtANullPatternAfterReplacingTheOnesBefore) {
  BarePattern pattern("x");
  tavrik_pollitem_t items[] = {watch(pattern), {nullptr, TAVRIK_POLLIN, 0}, watch(pattern)};
  EXPECT_LOGGED_FAILURE(std::runtime_error, "MsgPattern object being passed is NULLtavrik:-1", {},
                        pattern_poll(items, 3, 0));
  EXPECT_EQ(TestPeer::socketOf(pattern), items[0].socket);
  EXPECT_EQ(&pattern, items[2].socket);
}

TEST_F(PatternPollTest, FailuresToConnectAndToPollPropagateWithoutALogLine) {
  BarePattern unusable("x", "nonsense");
  tavrik_pollitem_t items[] = {watch(unusable)};
  EXPECT_THROW(pattern_poll(items, 1, 0), std::runtime_error);

  BarePattern pattern("x");
  items[0] = watch(pattern);
  TransportFaults faults;
  faults.fail("zmq_poll", EDOM);
  EXPECT_LOGGED_FAILURE(
      std::runtime_error,
      "Failed to poll on zmq_items : Numerical argument out of domainzeromq:17891361", {},
      pattern_poll(items, 1, 0));
}

}  // namespace
