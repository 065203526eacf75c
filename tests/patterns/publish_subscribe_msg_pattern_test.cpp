#include <support/failing_allocator.hpp>
#include <support/parts.hpp>
#include <support/pattern_test.hpp>
#include <support/plain_socket.hpp>
#include <support/transport_faults.hpp>
#include <tavrik/publish_subscribe_msg_pattern.hpp>

#include <zmq.h>

#include <cerrno>
#include <gtest/gtest.h>
#include <map>
#include <string>
#include <vector>

namespace {

using support::afterMaking;
using support::Calls;
using support::debugLine;
using support::Frames;
using support::Log;
using support::messageOf;
using support::Parts;
using support::partsOf;
using support::patience;
using support::PlainSocket;
using support::tosPrefix;
using support::TransportFaults;
using tavrik::Message;
using tavrik::PublishSubscribeMsgPattern;

class PublishSubscribe : public support::PatternTest {
 protected:
  PublishSubscribe() : PatternTest("PublishSubscribeMsgPattern", -19) {}
  ~PublishSubscribe() noexcept override {}  // the patterns' own may throw

  std::string endpoint = dir.ipcEndpoint();
  PublishSubscribeMsgPattern publisher{"news", PUBLISHER};
  PublishSubscribeMsgPattern subscriber{"news", SUBSCRIBER};
};

TEST_F(PublishSubscribe, refuses_every_other_role) {
  for (const int role : {0, 1, 4, 5, 6, -1}) {
    SCOPED_TRACE(role);
    expectRefusal("Invalid Role specifiedtavrik:-15",
                  classPrefix + "PublishSubscribeMsgPattern() : ", [&] {
                    PublishSubscribeMsgPattern("x", static_cast<role_t>(role));
                  });
  }
}

TEST_F(PublishSubscribe, checks_the_name_before_the_role_and_logs_it_in_the_base_only) {
  expectRefusal("Invalid Channel name specifiedtavrik:-1",
                "Error : Tavrik::MsgPattern::MsgPattern() : ", [] {
                  PublishSubscribeMsgPattern("", REQ_CLIENT);
                });
}

// Connecting.

TEST_F(PublishSubscribe, setting_the_endpoint_binds_a_publisher) {
  const TransportFaults watch;
  EXPECT_EQ(0, publisher.setProperty(PUB_SUB_PUBLISHER_ENDPOINT, endpoint));
  EXPECT_EQ(
      afterMaking({"1"}, {"zmq_setsockopt 57 0", "zmq_setsockopt 23 10", "zmq_bind " + endpoint}),
      watch.texts());
}

TEST_F(PublishSubscribe, a_publisher_gets_what_was_set_before) {
  publisher.setProperty(CHANNEL_TOS_PRIORITY, "184");
  publisher.setProperty(PUB_SUB_SET_PUB_SNDHWM, "77");
  const TransportFaults watch;
  publisher.setProperty(PUB_SUB_PUBLISHER_ENDPOINT, endpoint);
  EXPECT_EQ(
      afterMaking({"1"}, {"zmq_setsockopt 57 184", "zmq_setsockopt 23 77", "zmq_bind " + endpoint}),
      watch.texts());
}

TEST_F(PublishSubscribe, setting_the_endpoint_connects_a_subscriber_to_everything) {
  const TransportFaults watch;
  EXPECT_EQ(0, subscriber.setProperty(PUB_SUB_PUBLISHER_ENDPOINT, endpoint));
  EXPECT_EQ(afterMaking({"2"}, {"zmq_setsockopt 24 10", "zmq_setsockopt 6 \"\"",
                                "zmq_setsockopt 57 0", "zmq_connect " + endpoint}),
            watch.texts());
}

TEST_F(PublishSubscribe, a_subscriber_gets_what_was_set_before) {
  subscriber.setProperty(CHANNEL_TOS_PRIORITY, "8");
  subscriber.setProperty(PUB_SUB_SET_SUB_RCVHWM, "1000");
  subscriber.setProperty(PUB_SUB_SUBSCRIBE_FILTER, "weather");
  subscriber.setProperty(PUB_SUB_SUBSCRIBE_FILTER, "traffic");
  const TransportFaults watch;
  subscriber.setProperty(PUB_SUB_PUBLISHER_ENDPOINT, endpoint);
  EXPECT_EQ(afterMaking({"2"}, {"zmq_setsockopt 24 1000", "zmq_setsockopt 6 \"weather\"",
                                "zmq_setsockopt 6 \"traffic\"", "zmq_setsockopt 57 8",
                                "zmq_connect " + endpoint}),
            watch.texts());
}

TEST_F(PublishSubscribe, further_endpoints_of_a_subscriber_connect_at_once) {
  subscriber.setProperty(PUB_SUB_PUBLISHER_ENDPOINT, endpoint);
  const std::string second = dir.ipcEndpoint();
  const TransportFaults watch;
  EXPECT_EQ(0, subscriber.setProperty(PUB_SUB_PUBLISHER_ENDPOINT, second));
  EXPECT_EQ((Calls{"zmq_connect " + second}), watch.texts());
}

TEST_F(PublishSubscribe, connects_only_once) {
  publisher.setProperty(PUB_SUB_PUBLISHER_ENDPOINT, endpoint);
  subscriber.setProperty(PUB_SUB_PUBLISHER_ENDPOINT, endpoint);
  const TransportFaults watch;
  publisher.connectEndpoint();
  subscriber.connectEndpoint();
  EXPECT_EQ(Calls{}, watch.texts());
}

TEST_F(PublishSubscribe, a_role_that_came_to_be_another_connects_and_keeps_nothing) {
  class Changed : public PublishSubscribeMsgPattern {
   public:
    Changed() : PublishSubscribeMsgPattern("x", PUBLISHER) { role = REQ_CLIENT; }
  } changed;
  const TransportFaults watch;
  changed.connectEndpoint();
  EXPECT_EQ(0, changed.setProperty(PUB_SUB_PUBLISHER_ENDPOINT, endpoint));
  EXPECT_EQ(0, changed.setProperty(PUB_SUB_PUBLISHER_ENDPOINT, endpoint));
  EXPECT_EQ(Calls{}, watch.texts());
  expectNotReadable(changed, {PUB_SUB_PUBLISHER_ENDPOINT, PUB_SUB_NEXT_PUBLISHER_ENDPOINT,
                              PUB_SUB_SET_PUB_SNDHWM, PUB_SUB_SET_SUB_RCVHWM});
  expectNotSettable(changed, {PUB_SUB_SUBSCRIBE_FILTER, PUB_SUB_UNSUBSCRIBE_FILTER});
}

TEST_F(PublishSubscribe, a_subscriber_without_an_endpoint_connects_to_nothing_and_later_live) {
  Message message;
  {
    const TransportFaults watch;
    EXPECT_EQ(0, subscriber.receive(&message, 0));
    EXPECT_EQ("zmq_setsockopt 57 0", watch.texts()[7]) << "the last call before the receive";
    for (const std::string& call : watch.texts()) EXPECT_NE(0U, call.find("zmq_connect"));
  }
  PlainSocket plain(ZMQ_XPUB);
  plain.bind(endpoint);
  EXPECT_EQ(0, subscriber.setProperty(PUB_SUB_PUBLISHER_ENDPOINT, endpoint));
  EXPECT_EQ((Frames{"\1"}), plain.receive()) << "the catch-all arrives at the publisher";
}

TEST_F(PublishSubscribe, a_publisher_without_an_endpoint_fails_to_bind_and_counts_as_connected) {
  const std::string text =
      "Failed to bind ZeroMQ Socket : Invalid argument : End Point : zeromq:17367062";
  EXPECT_FAILURE(std::runtime_error, text, publisher.connectEndpoint());
  EXPECT_EQ((Log{debugLine("Error : Tavrik::MQWrapper::registerSender() : " + text)}), log.lines())
      << "connectEndpoint logs nothing itself";
  expectSetRefused(publisher, PUB_SUB_PUBLISHER_ENDPOINT, endpoint,
                   "Publisher Endpoint already set : tavrik:-15");
}

TEST_F(PublishSubscribe, a_failed_connection_is_logged_by_the_member_that_asked_for_it) {
  const std::string text =
      "Failed to bind ZeroMQ Socket : Invalid argument : End Point : nonsensezeromq:17367062";
  EXPECT_FAILURE(std::runtime_error, text,
                 publisher.setProperty(PUB_SUB_PUBLISHER_ENDPOINT, "nonsense"));
  EXPECT_EQ((Log{debugLine("Error : Tavrik::MQWrapper::registerSender() : " + text),
                 debugLine(setPrefix + text)}),
            log.lines());
  expectSetRefused(publisher, PUB_SUB_PUBLISHER_ENDPOINT, endpoint,
                   "Publisher Endpoint already set : nonsensetavrik:-15");
}

TEST_F(PublishSubscribe, without_a_socket_stays_unconnected) {
  const std::string text =
      "Failed to create ZeroMQ Socket : Too many open fileszeromq:" + std::to_string(0x1010018);
  {
    TransportFaults faults;
    faults.fail("zmq_socket", EMFILE);
    EXPECT_FAILURE(std::runtime_error, text,
                   publisher.setProperty(PUB_SUB_PUBLISHER_ENDPOINT, "inproc://lost"));
  }
  EXPECT_EQ((Log{debugLine("Error : Tavrik::MQWrapper::createEndpt() : " + text),
                 debugLine(setPrefix + text)}),
            log.lines());
  EXPECT_EQ(0, publisher.setProperty(PUB_SUB_PUBLISHER_ENDPOINT, endpoint));
  EXPECT_EQ(endpoint, publisher.getProperty(PUB_SUB_PUBLISHER_ENDPOINT));
}

// The endpoint is listed before it is connected, and the first of the list is the one that the
// socket connects to when it comes.
TEST_F(PublishSubscribe, without_a_socket_a_subscriber_keeps_the_endpoint_as_its_first) {
  {
    TransportFaults faults;
    faults.fail("zmq_socket", EMFILE);
    EXPECT_THROW(subscriber.setProperty(PUB_SUB_PUBLISHER_ENDPOINT, endpoint), std::runtime_error);
  }
  expectSetRefused(subscriber, PUB_SUB_PUBLISHER_ENDPOINT, endpoint,
                   "Subscriber Endpoint already set : " + endpoint + "tavrik:-38");
  const std::string second = dir.ipcEndpoint();
  const TransportFaults watch;
  EXPECT_EQ(0, subscriber.setProperty(PUB_SUB_PUBLISHER_ENDPOINT, second));
  EXPECT_EQ("zmq_connect " + endpoint, watch.texts().back());
  EXPECT_EQ(0, support::count(watch.texts(), "zmq_connect " + second));
}

TEST_F(PublishSubscribe, an_endpoint_that_a_live_subscriber_cannot_connect_stays_listed) {
  subscriber.setProperty(PUB_SUB_PUBLISHER_ENDPOINT, endpoint);
  const std::string text =
      "Failed to connect ZeroMQ Socket : Invalid argument : End Point : nonsensezeromq:17432598";
  EXPECT_FAILURE(std::runtime_error, text,
                 subscriber.setProperty(PUB_SUB_PUBLISHER_ENDPOINT, "nonsense"));
  EXPECT_EQ((Log{debugLine("Error : Tavrik::MQWrapper::registerReceiver() : " + text),
                 debugLine(setPrefix + text)}),
            log.lines());
  expectSetRefused(subscriber, PUB_SUB_PUBLISHER_ENDPOINT, "nonsense",
                   "Subscriber Endpoint already set : nonsensetavrik:-38");
}

TEST_F(PublishSubscribe, a_refused_option_leaves_it_connected) {
  const auto refuse = [&](role_t role, channel_prop_t mark, const std::string& option) {
    SCOPED_TRACE(option);
    PublishSubscribeMsgPattern pattern("news", role);
    {
      TransportFaults faults;
      faults.fail("zmq_setsockopt " + option, EINVAL);
      EXPECT_FAILURE(std::runtime_error,
                     "Failed to set ZeroMQ Socket Option : Invalid argumentzeromq:17235990",
                     pattern.setProperty(PUB_SUB_PUBLISHER_ENDPOINT, endpoint));
      EXPECT_EQ("zmq_setsockopt " + option, faults.texts().back()) << "nothing follows";
    }
    expectSetRefused(pattern, mark, "5", "channel is already connected5tavrik:-41");
    const TransportFaults watch;
    pattern.connectEndpoint();
    EXPECT_EQ(Calls{}, watch.texts()) << "it is not tried again";
  };
  for (const char* const option : {"57 0", "23 10"}) {
    refuse(PUBLISHER, PUB_SUB_SET_PUB_SNDHWM, option);
  }
  for (const char* const option : {"24 10", "6 \"\"", "57 0"}) {
    refuse(SUBSCRIBER, PUB_SUB_SET_SUB_RCVHWM, option);
  }
}

// Endpoints.

TEST_F(PublishSubscribe, a_refused_endpoint_stores_nothing) {
  class Open : public PublishSubscribeMsgPattern {
   public:
    Open() : PublishSubscribeMsgPattern("x", PUBLISHER) {}
    using MsgPattern::properties;
  } pattern;
  {
    TransportFaults faults;
    faults.fail("zmq_setsockopt 57", EINVAL);
    EXPECT_THROW(pattern.connectEndpoint(), std::runtime_error);
  }
  expectSetRefused(pattern, PUB_SUB_PUBLISHER_ENDPOINT, endpoint,
                   "Publisher Endpoint already set : tavrik:-15");
  EXPECT_EQ(0U, pattern.properties.size());
}

TEST_F(PublishSubscribe, refuses_an_endpoint_with_an_asterisk_before_anything_else) {
  for (PublishSubscribeMsgPattern* const pattern : {&publisher, &subscriber}) {
    expectSetRefused(*pattern, PUB_SUB_PUBLISHER_ENDPOINT, "tcp://*:1",
                     "Invalid Endpoint : tcp://*:1tavrik:-16");
    pattern->setProperty(PUB_SUB_PUBLISHER_ENDPOINT, dir.ipcEndpoint());
    expectSetRefused(*pattern, PUB_SUB_PUBLISHER_ENDPOINT, "tcp://*:1",
                     "Invalid Endpoint : tcp://*:1tavrik:-16");
  }
}

TEST_F(PublishSubscribe, a_publisher_takes_one_endpoint) {
  publisher.setProperty(PUB_SUB_PUBLISHER_ENDPOINT, endpoint);
  expectSetRefused(publisher, PUB_SUB_PUBLISHER_ENDPOINT, dir.ipcEndpoint(),
                   "Publisher Endpoint already set : " + endpoint + "tavrik:-15");
  expectSetRefused(publisher, PUB_SUB_PUBLISHER_ENDPOINT, endpoint,
                   "Publisher Endpoint already set : " + endpoint + "tavrik:-15");
  EXPECT_EQ(endpoint, publisher.getProperty(PUB_SUB_PUBLISHER_ENDPOINT));
}

TEST_F(PublishSubscribe, a_subscriber_takes_each_endpoint_once) {
  subscriber.setProperty(PUB_SUB_PUBLISHER_ENDPOINT, endpoint);
  const TransportFaults watch;
  expectSetRefused(subscriber, PUB_SUB_PUBLISHER_ENDPOINT, endpoint,
                   "Subscriber Endpoint already set : " + endpoint + "tavrik:-38");
  EXPECT_EQ(Calls{}, watch.texts());
}

TEST_F(PublishSubscribe, endpoints_are_compared_as_they_stand) {
  const std::string lower = support::inprocEndpoint() + "a";
  const std::string upper = lower.substr(0, lower.size() - 1) + "A";
  subscriber.setProperty(PUB_SUB_PUBLISHER_ENDPOINT, lower);
  EXPECT_EQ(0, subscriber.setProperty(PUB_SUB_PUBLISHER_ENDPOINT, upper));
  EXPECT_EQ(0, subscriber.setProperty(PUB_SUB_PUBLISHER_ENDPOINT, lower + "b"));
}

TEST_F(PublishSubscribe, reads_the_endpoint) {
  EXPECT_EQ("", publisher.getProperty(PUB_SUB_PUBLISHER_ENDPOINT));
  EXPECT_EQ("", subscriber.getProperty(PUB_SUB_PUBLISHER_ENDPOINT));
  publisher.setProperty(PUB_SUB_PUBLISHER_ENDPOINT, endpoint);
  EXPECT_EQ(endpoint, publisher.getProperty(PUB_SUB_PUBLISHER_ENDPOINT));
  subscriber.setProperty(PUB_SUB_PUBLISHER_ENDPOINT, endpoint);
  subscriber.setProperty(PUB_SUB_PUBLISHER_ENDPOINT, dir.ipcEndpoint());
  EXPECT_EQ(endpoint, subscriber.getProperty(PUB_SUB_PUBLISHER_ENDPOINT)) << "the first";
}

TEST_F(PublishSubscribe, reading_what_is_not_set_stores_the_empty_text) {
  class Open : public PublishSubscribeMsgPattern {
   public:
    Open() : PublishSubscribeMsgPattern("x", PUBLISHER) {}
    using MsgPattern::properties;
  } pattern;
  pattern.getProperty(CHANNEL_TOS_PRIORITY);
  EXPECT_EQ(0U, pattern.properties.size()) << "but for the type of service";
  pattern.getProperty(PUB_SUB_PUBLISHER_ENDPOINT);
  pattern.getProperty(PUB_SUB_SET_PUB_SNDHWM);
  EXPECT_EQ((std::map<channel_prop_t, std::string>{{PUB_SUB_PUBLISHER_ENDPOINT, ""},
                                                   {PUB_SUB_SET_PUB_SNDHWM, ""}}),
            pattern.properties);
}

TEST_F(PublishSubscribe, the_cursor_walks_the_endpoints_and_starts_again) {
  const auto next = [&] { return subscriber.getProperty(PUB_SUB_NEXT_PUBLISHER_ENDPOINT); };
  EXPECT_EQ("", next());
  EXPECT_EQ("", next());
  const std::string a = dir.ipcEndpoint();
  const std::string b = dir.ipcEndpoint();
  const std::string c = dir.ipcEndpoint();
  subscriber.setProperty(PUB_SUB_PUBLISHER_ENDPOINT, a);
  subscriber.setProperty(PUB_SUB_PUBLISHER_ENDPOINT, b);
  EXPECT_EQ(a, next());
  EXPECT_EQ(b, next());
  EXPECT_EQ("", next());
  EXPECT_EQ(a, next());
  subscriber.setProperty(PUB_SUB_PUBLISHER_ENDPOINT, c);
  EXPECT_EQ(b, next());
  EXPECT_EQ(c, next());
  EXPECT_EQ("", next());
  EXPECT_EQ(a, next());
}

// High-water marks.

struct Mark {
  channel_prop_t prop;
  role_t role;
  int badValue;
  std::string name;
};

void PrintTo(const Mark& mark, std::ostream* out) {
  *out << mark.name;
}

class HighWaterMark : public PublishSubscribe, public testing::WithParamInterface<Mark> {
 protected:
  PublishSubscribeMsgPattern& own() {
    return GetParam().role == PUBLISHER ? publisher : subscriber;
  }
  PublishSubscribeMsgPattern& other() {
    return GetParam().role == PUBLISHER ? subscriber : publisher;
  }
};

TEST_P(HighWaterMark, keeps_the_text_of_a_value_in_range) {
  for (const char* const value : {"1", "1000", "12abc", "4294967297", " 7"}) {
    EXPECT_EQ(0, own().setProperty(GetParam().prop, value));
    EXPECT_EQ(value, own().getProperty(GetParam().prop));
  }
}

TEST_P(HighWaterMark, refuses_a_value_out_of_range) {
  own().setProperty(GetParam().prop, "5");
  for (const std::string value :
       {"0", "1001", "abc", "", "-1", "0x10", "2147483649", "4294967296"}) {
    expectSetRefused(own(), GetParam().prop, value,
                     "Invalid value for prop " + GetParam().name + ": " + value +
                         "tavrik:" + std::to_string(GetParam().badValue));
  }
  EXPECT_EQ("5", own().getProperty(GetParam().prop));
}

TEST_P(HighWaterMark, checks_role_before_value_before_connection) {
  own().setProperty(PUB_SUB_PUBLISHER_ENDPOINT, endpoint);
  other().setProperty(PUB_SUB_PUBLISHER_ENDPOINT, dir.ipcEndpoint());
  expectSetRefused(other(), GetParam().prop, "0",
                   "Invalid role with prop " + GetParam().name + ": 0tavrik:-15");
  expectSetRefused(own(), GetParam().prop, "0",
                   "Invalid value for prop " + GetParam().name +
                       ": 0tavrik:" + std::to_string(GetParam().badValue));
  expectSetRefused(own(), GetParam().prop, "7", "channel is already connected7tavrik:-41");
  EXPECT_EQ("10", own().getProperty(GetParam().prop));
}

TEST_P(HighWaterMark, reads_10_once_connected_without_one) {
  own().setProperty(PUB_SUB_PUBLISHER_ENDPOINT, endpoint);
  EXPECT_EQ("10", own().getProperty(GetParam().prop));
}

TEST_P(HighWaterMark, read_before_it_is_set_becomes_the_empty_text_which_is_no_limit) {
  EXPECT_EQ("", own().getProperty(GetParam().prop));
  const TransportFaults watch;
  own().setProperty(PUB_SUB_PUBLISHER_ENDPOINT, endpoint);
  const std::string option = GetParam().role == PUBLISHER ? "23" : "24";
  EXPECT_EQ(1, support::count(watch.texts(), "zmq_setsockopt " + option + " 0"));
  EXPECT_EQ("", own().getProperty(GetParam().prop));
}

TEST_P(HighWaterMark, is_not_readable_in_the_other_role) {
  expectNotReadable(other(), {GetParam().prop});
}

INSTANTIATE_TEST_SUITE_P(
    Of, HighWaterMark,
    testing::Values(Mark{PUB_SUB_SET_PUB_SNDHWM, PUBLISHER, -39, "PUB_SUB_SET_PUB_SNDHWM"},
                    Mark{PUB_SUB_SET_SUB_RCVHWM, SUBSCRIBER, -40, "PUB_SUB_SET_SUB_RCVHWM"}),
    [](const auto& mark) { return mark.param.name; });

// Other properties.

TEST_F(PublishSubscribe, refuses_to_set_other_properties) {
  expectNotSettable(subscriber, {0, 4, 5, 6, 8, 11, 12, ~0U});
  expectNotSettable(publisher, {0, 4, 5, 6, 8, 11, 12, ~0U});
  expectNotSettable(publisher, {PUB_SUB_SUBSCRIBE_FILTER, PUB_SUB_UNSUBSCRIBE_FILTER});
}

TEST_F(PublishSubscribe, refuses_to_read_other_properties) {
  expectNotReadable(subscriber, {0, 2, 3, 4, 5, 6, 11, 12, ~0U});
  expectNotReadable(publisher, {0, 2, 3, 4, 5, 6, 11, 12, ~0U});
  expectNotReadable(publisher, {PUB_SUB_NEXT_PUBLISHER_ENDPOINT});
}

TEST_F(PublishSubscribe, has_the_type_of_service_of_every_pattern) {
  EXPECT_EQ("0", publisher.getProperty(CHANNEL_TOS_PRIORITY));
  EXPECT_EQ(0, publisher.setProperty(CHANNEL_TOS_PRIORITY, "16"));
  EXPECT_EQ("16", publisher.getProperty(CHANNEL_TOS_PRIORITY));
  const std::string text = "Invalid value for prop CHANNEL_TOS_PRIORITY: 256tavrik:-9";
  EXPECT_FAILURE(std::logic_error, text, publisher.setProperty(CHANNEL_TOS_PRIORITY, "256"));
  EXPECT_EQ((Log{debugLine(tosPrefix + text), debugLine(setPrefix + text)}), log.lines());
  publisher.setProperty(PUB_SUB_PUBLISHER_ENDPOINT, endpoint);
  EXPECT_FAILURE(std::logic_error, "channel is already connected1tavrik:-11",
                 publisher.setProperty(CHANNEL_TOS_PRIORITY, "1"));
}

// Filters.

TEST_F(PublishSubscribe, refuses_a_filter_twice_and_the_removal_of_an_unknown_one) {
  EXPECT_EQ(0, subscriber.setProperty(PUB_SUB_SUBSCRIBE_FILTER, "a"));
  expectSetRefused(subscriber, PUB_SUB_SUBSCRIBE_FILTER, "a", "Filter already existstavrik:-17");
  expectSetRefused(subscriber, PUB_SUB_UNSUBSCRIBE_FILTER, "b",
                   "Cannot remove unset filtertavrik:-18");
  EXPECT_EQ(0, subscriber.setProperty(PUB_SUB_UNSUBSCRIBE_FILTER, "a"));
  expectSetRefused(subscriber, PUB_SUB_UNSUBSCRIBE_FILTER, "a",
                   "Cannot remove unset filtertavrik:-18");
  EXPECT_EQ(0, subscriber.setProperty(PUB_SUB_SUBSCRIBE_FILTER, "a"));
}

TEST_F(PublishSubscribe, filters_are_compared_as_they_stand) {
  EXPECT_EQ(0, subscriber.setProperty(PUB_SUB_SUBSCRIBE_FILTER, "weather"));
  EXPECT_EQ(0, subscriber.setProperty(PUB_SUB_SUBSCRIBE_FILTER, "weather/north"));
  EXPECT_EQ(0, subscriber.setProperty(PUB_SUB_SUBSCRIBE_FILTER, "Weather"));
  expectSetRefused(subscriber, PUB_SUB_UNSUBSCRIBE_FILTER, "weath",
                   "Cannot remove unset filtertavrik:-18");
}

TEST_F(PublishSubscribe, filters_changed_before_connecting_go_onto_the_socket_in_order) {
  for (const char* const filter : {"b", "a", "c"}) {
    subscriber.setProperty(PUB_SUB_SUBSCRIBE_FILTER, filter);
  }
  subscriber.setProperty(PUB_SUB_UNSUBSCRIBE_FILTER, "b");
  const TransportFaults watch;
  subscriber.setProperty(PUB_SUB_PUBLISHER_ENDPOINT, endpoint);
  EXPECT_EQ(afterMaking({"2"},
                        {"zmq_setsockopt 24 10", "zmq_setsockopt 6 \"a\"", "zmq_setsockopt 6 \"c\"",
                         "zmq_setsockopt 57 0", "zmq_connect " + endpoint}),
            watch.texts());
}

TEST_F(PublishSubscribe, filters_on_a_live_socket_replace_the_catch_all_and_bring_it_back) {
  subscriber.setProperty(PUB_SUB_PUBLISHER_ENDPOINT, endpoint);
  const TransportFaults watch;
  subscriber.setProperty(PUB_SUB_SUBSCRIBE_FILTER, "a");
  subscriber.setProperty(PUB_SUB_SUBSCRIBE_FILTER, "b");
  subscriber.setProperty(PUB_SUB_UNSUBSCRIBE_FILTER, "a");
  subscriber.setProperty(PUB_SUB_UNSUBSCRIBE_FILTER, "b");
  EXPECT_EQ((Calls{"zmq_setsockopt 7 \"\"", "zmq_setsockopt 6 \"a\"", "zmq_setsockopt 6 \"b\"",
                   "zmq_setsockopt 7 \"a\"", "zmq_setsockopt 7 \"b\"", "zmq_setsockopt 6 \"\""}),
            watch.texts());
}

TEST_F(PublishSubscribe, the_empty_filter_is_a_filter_of_its_own) {
  EXPECT_EQ(0, subscriber.setProperty(PUB_SUB_SUBSCRIBE_FILTER, ""));
  expectSetRefused(subscriber, PUB_SUB_SUBSCRIBE_FILTER, "", "Filter already existstavrik:-17");
  EXPECT_EQ(0, subscriber.setProperty(PUB_SUB_UNSUBSCRIBE_FILTER, ""));
}

TEST_F(PublishSubscribe, a_filter_that_the_socket_refuses_is_not_kept) {
  subscriber.setProperty(PUB_SUB_PUBLISHER_ENDPOINT, endpoint);
  subscriber.setProperty(PUB_SUB_SUBSCRIBE_FILTER, "a");
  {
    TransportFaults faults;
    faults.fail("zmq_setsockopt 6", EINVAL);
    EXPECT_THROW(subscriber.setProperty(PUB_SUB_SUBSCRIBE_FILTER, "b"), std::runtime_error);
  }
  EXPECT_EQ(0, subscriber.setProperty(PUB_SUB_SUBSCRIBE_FILTER, "b"));
}

TEST_F(PublishSubscribe, a_filter_that_the_socket_does_not_let_go_is_removed) {
  subscriber.setProperty(PUB_SUB_PUBLISHER_ENDPOINT, endpoint);
  subscriber.setProperty(PUB_SUB_SUBSCRIBE_FILTER, "a");
  {
    TransportFaults faults;
    faults.fail("zmq_setsockopt 7", EINVAL);
    EXPECT_THROW(subscriber.setProperty(PUB_SUB_UNSUBSCRIBE_FILTER, "a"), std::runtime_error);
  }
  expectSetRefused(subscriber, PUB_SUB_UNSUBSCRIBE_FILTER, "a",
                   "Cannot remove unset filtertavrik:-18");
}

TEST_F(PublishSubscribe, without_memory_a_filter_reaches_neither_list_nor_socket) {
  subscriber.setProperty(PUB_SUB_PUBLISHER_ENDPOINT, endpoint);
  const std::string filter(100, 'f');
  for (const int failing : {1, 2}) {  // the filter, the list
    TransportFaults watch;
    {
      const support::AllocationFailure failure(failing);
      EXPECT_THROW(subscriber.setProperty(PUB_SUB_SUBSCRIBE_FILTER, filter), std::bad_alloc);
      EXPECT_TRUE(failure.happened());
    }
    EXPECT_EQ(Calls{}, watch.texts());
  }
  EXPECT_EQ(0, subscriber.setProperty(PUB_SUB_SUBSCRIBE_FILTER, filter));
}

// Sending and receiving.

TEST_F(PublishSubscribe, a_subscriber_may_not_send) {
  Message message = messageOf({"a"});
  const TransportFaults watch;
  expectRefusal("send() Operation NOT permitted for SUBSCRIBERtavrik:-20",
                classPrefix + "send() : ", [&] { subscriber.send(&message); });
  EXPECT_EQ(Calls{}, watch.texts()) << "it did not even connect";
}

TEST_F(PublishSubscribe, a_publisher_may_not_receive) {
  Message message = messageOf({"kept"});
  const TransportFaults watch;
  expectRefusal("receive() Operation NOT permitted for PUBLISHERtavrik:-21",
                "Error : Tavrik:: PublishSubscribeMsgPattern::receive() : ", [&] {
                  publisher.receive(&message, 0);
                });
  EXPECT_EQ(Calls{}, watch.texts()) << "it did not even connect";
  EXPECT_EQ((Parts{"kept"}), partsOf(message));
}

TEST_F(PublishSubscribe, a_first_send_connects_whatever_it_sends) {
  const std::string text =
      "Failed to bind ZeroMQ Socket : Invalid argument : End Point : zeromq:17367062";
  EXPECT_FAILURE(std::runtime_error, text, publisher.send(nullptr));
  EXPECT_EQ((Log{debugLine("Error : Tavrik::MQWrapper::registerSender() : " + text),
                 debugLine(classPrefix + "send() : " + text)}),
            log.lines());
  EXPECT_EQ(-1, publisher.send(nullptr)) << "connected now";
}

TEST_F(PublishSubscribe, the_transports_failures_are_logged_behind_send_and_receive) {
  publisher.setProperty(PUB_SUB_PUBLISHER_ENDPOINT, endpoint);
  subscriber.setProperty(PUB_SUB_PUBLISHER_ENDPOINT, endpoint);
  Message message = messageOf({"a"});
  TransportFaults faults;
  faults.fail("zmq_msg_send", EDOM);
  faults.fail("zmq_msg_recv", EDOM);
  const std::string sendText =
      "Failed to send messagepart : Numerical argument out of domainzeromq:17498145";
  EXPECT_FAILURE(std::runtime_error, sendText, publisher.send(&message));
  const std::string receiveText =
      "Failed to get messagepart : Numerical argument out of domainzeromq:17694753";
  EXPECT_FAILURE(std::runtime_error, receiveText, subscriber.receive(&message, 0));
  EXPECT_EQ(
      (Log{debugLine("Error : Tavrik::MQWrapper::send() : " + sendText),
           debugLine(classPrefix + "send() : " + sendText),
           debugLine("Error : Tavrik::MQWrapper::receive() : " + receiveText),
           debugLine("Error : Tavrik:: PublishSubscribeMsgPattern::receive() : " + receiveText)}),
      log.lines());
}

TEST_F(PublishSubscribe, receiving_waits_as_long_as_it_is_told) {
  subscriber.connectEndpoint();
  Message message;
  const TransportFaults watch;
  EXPECT_EQ(0, subscriber.receive(&message, 0));
  EXPECT_EQ("zmq_msg_close", watch.texts().back()) << "not at all";
  EXPECT_EQ(0, subscriber.receive(&message, 2));
  EXPECT_EQ("zmq_poll 1 2", watch.texts().back());
}

TEST_F(PublishSubscribe, sending_without_subscribers_succeeds) {
  publisher.setProperty(PUB_SUB_PUBLISHER_ENDPOINT, endpoint);
  Message message = messageOf({"a", "b"});
  EXPECT_EQ(2, publisher.send(&message));
}

TEST_F(PublishSubscribe, hands_bad_arguments_to_the_transport) {
  publisher.setProperty(PUB_SUB_PUBLISHER_ENDPOINT, endpoint);
  Message message;
  EXPECT_EQ(-1, publisher.send(nullptr));
  EXPECT_EQ(-1, subscriber.receive(nullptr, 0));
  EXPECT_EQ(-1, subscriber.receive(&message, -2));
}

TEST_F(PublishSubscribe, speaks_pub_and_sub_to_plain_peers) {
  PlainSocket plainPublisher(ZMQ_XPUB);
  plainPublisher.bind(endpoint);
  subscriber.setProperty(PUB_SUB_SUBSCRIBE_FILTER, "weather");
  subscriber.setProperty(PUB_SUB_PUBLISHER_ENDPOINT, endpoint);
  EXPECT_EQ((Frames{"\1weather"}), plainPublisher.receive());
  plainPublisher.send({"traffic", "jam"});
  plainPublisher.send({"weather", "rain", ""});
  Message message;
  EXPECT_EQ(3, subscriber.receive(&message, patience));
  EXPECT_EQ((Parts{"weather", "rain", ""}), partsOf(message));

  const std::string second = dir.ipcEndpoint();
  publisher.setProperty(PUB_SUB_PUBLISHER_ENDPOINT, second);
  PlainSocket plainSubscriber(ZMQ_SUB);
  plainSubscriber.setOption(ZMQ_SUBSCRIBE, "w");
  plainSubscriber.connect(second);
  message = messageOf({"weather", "sun"});
  while (!plainSubscriber.hasMessage()) publisher.send(&message);
  EXPECT_EQ((Frames{"weather", "sun"}), plainSubscriber.receive());
}

}  // namespace
