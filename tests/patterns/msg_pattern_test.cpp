#include <support/failure.hpp>
#include <support/log_capture.hpp>
#include <support/parts.hpp>
#include <support/plain_socket.hpp>
#include <support/temp_dir.hpp>
#include <support/transport_faults.hpp>
#include <tavrik/mq_wrapper.hpp>
#include <tavrik/msg_pattern.hpp>

#include <zmq.h>

#include <array>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace {

using support::debugLine;
using support::Log;
using support::LogCapture;
using support::TempDir;
using support::TransportFaults;
using tavrik::Message;
using tavrik::MsgPattern;
using tavrik::pattern_poll;

// The least that a pattern can be: a PAIR socket bound to an endpoint.
class BarePattern : public MsgPattern {
 public:
  explicit BarePattern(const std::string& called, const std::string& boundTo = "")
      : MsgPattern(called, REP_SERVER), endpoint(boundTo) {}

  void connectEndpoint() override {
    if (socket != nullptr) return;
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

  void* currentSocket() const { return socket; }
  std::size_t storedProperties() const { return properties.size(); }
  int connections = 0;

 private:
  std::string endpoint;
};

class MsgPatternTest : public testing::Test {
 protected:
  LogCapture log;
  TempDir dir;
};

TEST_F(MsgPatternTest, takes_a_name_of_one_character) {
  EXPECT_NO_THROW(BarePattern("x"));
}

TEST_F(MsgPatternTest, leaves_the_length_of_a_name_to_the_channel) {
  EXPECT_NO_THROW(BarePattern(std::string(1000, 'x')));
}

TEST_F(MsgPatternTest, refuses_an_empty_name) {
  EXPECT_FAILURE(std::logic_error, "Invalid Channel name specifiedtavrik:-1", BarePattern(""));
  EXPECT_EQ((Log{debugLine("Error : Tavrik::MsgPattern::MsgPattern() : "
                           "Invalid Channel name specifiedtavrik:-1")}),
            log.lines());
}

TEST_F(MsgPatternTest, endpoint_is_valid_without_an_asterisk) {
  const BarePattern pattern("x");
  EXPECT_TRUE(pattern.isValidEndpt("tcp://127.0.0.1:5555"));
  EXPECT_TRUE(pattern.isValidEndpt(""));
  EXPECT_TRUE(pattern.isValidEndpt("nonsense"));
  EXPECT_FALSE(pattern.isValidEndpt("tcp://*:5555"));
  EXPECT_FALSE(pattern.isValidEndpt("tcp://127.0.0.1:*"));
  EXPECT_FALSE(pattern.isValidEndpt("*"));
}

TEST_F(MsgPatternTest, type_of_service_reads_0_when_unset_and_stores_nothing) {
  const BarePattern pattern("x");
  EXPECT_EQ("0", pattern.getTosPropVal());
  EXPECT_EQ(0U, pattern.storedProperties());
}

TEST_F(MsgPatternTest, type_of_service_is_kept_as_the_text_given) {
  BarePattern pattern("x");
  for (const char* const value : {"0", "255", "16", "abc", "", "12abc", " 7", "4294967296"}) {
    EXPECT_EQ(0, pattern.setTosPropVal(value));
    EXPECT_EQ(value, pattern.getTosPropVal());
  }
  EXPECT_EQ(1U, pattern.storedProperties());
}

TEST_F(MsgPatternTest, type_of_service_out_of_range_is_refused_and_changes_nothing) {
  BarePattern pattern("x");
  pattern.setTosPropVal("7");
  for (const char* const value : {"256", "-1", "1000", "4294967295", "256abc"}) {
    SCOPED_TRACE(value);
    log.clear();
    const std::string text =
        "Invalid value for prop CHANNEL_TOS_PRIORITY: " + std::string(value) + "tavrik:-9";
    EXPECT_FAILURE(std::logic_error, text, pattern.setTosPropVal(value));
    EXPECT_EQ((Log{debugLine("Error : Tavrik::MsgPattern::setTosPropVal() : " + text)}),
              log.lines());
    EXPECT_EQ("7", pattern.getTosPropVal());
  }
}

TEST_F(MsgPatternTest, type_of_service_after_connecting_is_refused_but_its_range_comes_first) {
  BarePattern pattern("x");
  pattern.setTosPropVal("7");
  pattern.connectEndpoint();
  EXPECT_FAILURE(std::logic_error, "Invalid value for prop CHANNEL_TOS_PRIORITY: 300tavrik:-9",
                 pattern.setTosPropVal("300"));
  log.clear();
  EXPECT_FAILURE(std::logic_error, "channel is already connected10tavrik:-11",
                 pattern.setTosPropVal("10"));
  EXPECT_EQ((Log{debugLine("Error : Tavrik::MsgPattern::setTosPropVal() : "
                           "channel is already connected10tavrik:-11")}),
            log.lines());
  EXPECT_EQ("7", pattern.getTosPropVal());
}

TEST_F(MsgPatternTest, applies_the_type_of_service_to_a_socket) {
  TransportFaults watch;
  BarePattern unset("x");
  unset.connectEndpoint();
  EXPECT_EQ("zmq_setsockopt 57 0", watch.texts().back());
  EXPECT_EQ(0U, unset.storedProperties());
  BarePattern set("x");
  set.setTosPropVal("184");
  set.connectEndpoint();
  EXPECT_EQ("zmq_setsockopt 57 184", watch.texts().back());
  BarePattern odd("x");
  odd.setTosPropVal("abc");
  odd.connectEndpoint();
  EXPECT_EQ("zmq_setsockopt 57 0", watch.texts().back());
}

TEST_F(MsgPatternTest, closes_its_socket_without_lingering) {
  TransportFaults watch;
  {
    BarePattern pattern("x");
    pattern.connectEndpoint();
  }
  const auto calls = watch.texts();
  ASSERT_GE(calls.size(), 2U);
  EXPECT_EQ("zmq_setsockopt 17 0", calls[calls.size() - 2]);
  EXPECT_EQ("zmq_close", calls[calls.size() - 1]);
}

TEST_F(MsgPatternTest, that_never_connected_closes_nothing) {
  BarePattern* const pattern = new BarePattern("x");
  const TransportFaults watch;
  delete pattern;
  EXPECT_EQ(std::vector<std::string>{}, watch.texts());
}

TEST_F(MsgPatternTest, lets_a_failure_to_close_out_of_its_destructor) {
  auto* const pattern = new BarePattern("x");
  pattern->connectEndpoint();
  void* const socket = pattern->currentSocket();
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

class PatternPoll : public MsgPatternTest {
 protected:
  static tavrik_pollitem_t watch(MsgPattern& pattern) { return {&pattern, TAVRIK_POLLIN, 0x7fff}; }
};

TEST_F(PatternPoll, refuses_bad_arguments_without_connecting) {
  BarePattern pattern("x");
  std::array<tavrik_pollitem_t, 17> items;
  items.fill(watch(pattern));
  EXPECT_EQ(-1, pattern_poll(nullptr, 1, 0));
  EXPECT_EQ(-1, pattern_poll(items.data(), 0, 0));
  EXPECT_EQ(-1, pattern_poll(items.data(), 17, 0));
  EXPECT_EQ(-1, pattern_poll(items.data(), 1, -2));
  EXPECT_EQ(nullptr, pattern.currentSocket());
  EXPECT_EQ(&pattern, items[0].socket);
  EXPECT_EQ(Log{}, log.lines());
}

TEST_F(PatternPoll, connects_and_replaces_each_pattern_by_its_socket) {
  BarePattern first("x");
  BarePattern second("x");
  second.connectEndpoint();
  tavrik_pollitem_t items[] = {watch(first), watch(second)};
  EXPECT_EQ(0, pattern_poll(items, 2, 0));
  EXPECT_EQ(1, first.connections);
  EXPECT_EQ(1, second.connections) << "connected again";
  ASSERT_NE(nullptr, first.currentSocket());
  EXPECT_EQ(first.currentSocket(), items[0].socket);
  EXPECT_EQ(second.currentSocket(), items[1].socket);
  EXPECT_EQ(0, items[0].revents);
  EXPECT_EQ(0, items[1].revents);
}

TEST_F(PatternPoll, polls_sixteen_patterns_and_reports_events) {
  BarePattern pattern("x", dir.ipcEndpoint());
  std::array<tavrik_pollitem_t, 16> items;
  items.fill(watch(pattern));
  pattern.connectEndpoint();
  support::PlainSocket peer(ZMQ_PAIR);
  peer.connect("ipc://" + dir.path() + "/0");
  peer.send({"a"});
  tavrik_pollitem_t arrival = watch(pattern);
  ASSERT_EQ(1, pattern_poll(&arrival, 1, support::patience));
  EXPECT_EQ(16, pattern_poll(items.data(), 16, support::patience));
  for (const tavrik_pollitem_t& item : items) EXPECT_EQ(TAVRIK_POLLIN, item.revents);
}

TEST_F(PatternPoll, fails_on_a_null_pattern_with_those_before_it_replaced) {
  BarePattern pattern("x");
  tavrik_pollitem_t items[] = {watch(pattern), {nullptr, TAVRIK_POLLIN, 0}, watch(pattern)};
  EXPECT_FAILURE(std::runtime_error, "MsgPattern object being passed is NULLtavrik:-1",
                 pattern_poll(items, 3, 0));
  EXPECT_EQ(pattern.currentSocket(), items[0].socket);
  EXPECT_EQ(&pattern, items[2].socket);
  EXPECT_EQ(Log{}, log.lines());
}

TEST_F(PatternPoll, passes_failures_to_connect_and_to_poll_on) {
  BarePattern unusable("x", "nonsense");
  tavrik_pollitem_t items[] = {watch(unusable)};
  EXPECT_THROW(pattern_poll(items, 1, 0), std::runtime_error);

  BarePattern pattern("x");
  items[0] = watch(pattern);
  log.clear();
  TransportFaults faults;
  faults.fail("zmq_poll", EDOM);
  EXPECT_FAILURE(std::runtime_error,
                 "Failed to poll on zmq_items : Numerical argument out of domainzeromq:17891361",
                 pattern_poll(items, 1, 0));
  EXPECT_EQ(Log{}, log.lines());
}

}  // namespace
