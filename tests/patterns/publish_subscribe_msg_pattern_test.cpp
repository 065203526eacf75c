#include <support/parts.hpp>
#include <support/pattern_test.hpp>
#include <support/plain_socket.hpp>
#include <support/test_peer.hpp>
#include <support/transport_faults.hpp>
#include <tavrik/publish_subscribe_msg_pattern.hpp>

#include <zmq.h>

#include <cerrno>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace {

using namespace support;
using tavrik::Message;
using tavrik::PublishSubscribeMsgPattern;

const std::string bindPrefix = "Error : Tavrik::MQWrapper::registerSender() : ";

class PublishSubscribeMsgPatternTest : public PatternTest {
 protected:
  PublishSubscribeMsgPatternTest() : PatternTest("PublishSubscribeMsgPattern") {}
  ~PublishSubscribeMsgPatternTest() noexcept override {}  // the destructors of patterns may throw

  // Sets the endpoint, which connects, and expects these calls after the socket was created.
  void expectConnects(PublishSubscribeMsgPattern& pattern, const std::string& type,
                      const Calls& calls) {
    const TransportFaults watch;
    EXPECT_EQ(0, pattern.setProperty(PUB_SUB_PUBLISHER_ENDPOINT, endpoint));
    EXPECT_EQ(joined({making(type), calls}), watch.texts());
  }

  std::string endpoint = dir.ipcEndpoint();
  PublishSubscribeMsgPattern publisher{"news", PUBLISHER};
  PublishSubscribeMsgPattern subscriber{"news", SUBSCRIBER};
};

// Connecting.

TEST_F(PublishSubscribeMsgPatternTest, SettingTheEndpointBindsAPublisher) {
  expectConnects(publisher, "1",
                 {"zmq_setsockopt 57 0", "zmq_setsockopt 23 10", "zmq_bind " + endpoint});
  EXPECT_EQ("10", publisher.getProperty(PUB_SUB_SET_PUB_SNDHWM));
}

TEST_F(PublishSubscribeMsgPatternTest, APublisherAppliesWhatWasSetBefore) {
  publisher.setProperty(CHANNEL_TOS_PRIORITY, "184");
  publisher.setProperty(PUB_SUB_SET_PUB_SNDHWM, "77");
  expectConnects(publisher, "1",
                 {"zmq_setsockopt 57 184", "zmq_setsockopt 23 77", "zmq_bind " + endpoint});
}

TEST_F(PublishSubscribeMsgPatternTest, SettingTheEndpointConnectsASubscriberToAllSubjects) {
  expectConnects(subscriber, "2",
                 {"zmq_setsockopt 24 10", "zmq_setsockopt 6 \"\"", "zmq_setsockopt 57 0",
                  "zmq_connect " + endpoint});
  EXPECT_EQ("10", subscriber.getProperty(PUB_SUB_SET_SUB_RCVHWM));
}

TEST_F(PublishSubscribeMsgPatternTest, ASubscriberAppliesWhatWasSetBefore) {
  subscriber.setProperty(CHANNEL_TOS_PRIORITY, "8");
  subscriber.setProperty(PUB_SUB_SET_SUB_RCVHWM, "1000");
  for (const char* const filter : {"b", "a", "c"}) {
    subscriber.setProperty(PUB_SUB_SUBSCRIBE_FILTER, filter);
  }
  subscriber.setProperty(PUB_SUB_UNSUBSCRIBE_FILTER, "b");
  expectConnects(subscriber, "2",
                 {"zmq_setsockopt 24 1000", "zmq_setsockopt 6 \"a\"", "zmq_setsockopt 6 \"c\"",
                  "zmq_setsockopt 57 8", "zmq_connect " + endpoint});
}

TEST_F(PublishSubscribeMsgPatternTest, AHighWaterMarkReadBeforeItIsSetBecomesNoLimit) {
  EXPECT_EQ("", publisher.getProperty(PUB_SUB_SET_PUB_SNDHWM));
  expectConnects(publisher, "1",
                 {"zmq_setsockopt 57 0", "zmq_setsockopt 23 0", "zmq_bind " + endpoint});
  EXPECT_EQ("", publisher.getProperty(PUB_SUB_SET_PUB_SNDHWM));
  EXPECT_EQ("", subscriber.getProperty(PUB_SUB_SET_SUB_RCVHWM));
  expectConnects(subscriber, "2",
                 {"zmq_setsockopt 24 0", "zmq_setsockopt 6 \"\"", "zmq_setsockopt 57 0",
                  "zmq_connect " + endpoint});
}

TEST_F(PublishSubscribeMsgPatternTest, ARoleThatADerivedClassChangesConnectsAndStoresNothing) {
  TestPeer::setRole(publisher, REQ_CLIENT);
  const TransportFaults watch;
  publisher.connectEndpoint();
  EXPECT_EQ(0, publisher.setProperty(PUB_SUB_PUBLISHER_ENDPOINT, endpoint));
  EXPECT_EQ(0, publisher.setProperty(PUB_SUB_PUBLISHER_ENDPOINT, endpoint));
  EXPECT_EQ(Calls{}, watch.texts());
  for (const unsigned prop : {PUB_SUB_PUBLISHER_ENDPOINT, PUB_SUB_NEXT_PUBLISHER_ENDPOINT,
                              PUB_SUB_SET_PUB_SNDHWM, PUB_SUB_SET_SUB_RCVHWM}) {
    expectNotReadable(publisher, prop, -19);
  }
  for (const unsigned prop : {PUB_SUB_SUBSCRIBE_FILTER, PUB_SUB_UNSUBSCRIBE_FILTER}) {
    expectSetRefused(publisher, prop, "x", "Invalid property - cannot be set : xtavrik:-19");
  }
}

TEST_F(PublishSubscribeMsgPatternTest, ASubscriberWithoutAnEndpointConnectsToTheNextOneSet) {
  Message message;
  {
    const TransportFaults watch;
    EXPECT_EQ(0, subscriber.receive(&message, 0));
    EXPECT_EQ(joined({making("2"),
                      {"zmq_setsockopt 24 10", "zmq_setsockopt 6 \"\"", "zmq_setsockopt 57 0"},
                      {"zmq_msg_init", "zmq_msg_recv 1", "zmq_msg_close"}}),
              watch.texts());
  }
  const TransportFaults watch;
  EXPECT_EQ(0, subscriber.setProperty(PUB_SUB_PUBLISHER_ENDPOINT, endpoint));
  EXPECT_EQ((Calls{"zmq_connect " + endpoint}), watch.texts());
}

TEST_F(PublishSubscribeMsgPatternTest, AFailedBindIsLoggedByItsCallerAndLeavesItConnected) {
  const std::string text = "Failed to bind ZeroMQ Socket : Invalid argument : End Point : ";
  EXPECT_LOGGED_FAILURE(std::runtime_error, text + "nonsensezeromq:17367062",
                        (Prefixes{bindPrefix, setPrefix}),
                        publisher.setProperty(PUB_SUB_PUBLISHER_ENDPOINT, "nonsense"));
  expectSetRefused(publisher, PUB_SUB_PUBLISHER_ENDPOINT, endpoint,
                   "Publisher Endpoint already set : nonsensetavrik:-15");

  PublishSubscribeMsgPattern unset("news", PUBLISHER);
  EXPECT_LOGGED_FAILURE(std::runtime_error, text + "zeromq:17367062", {bindPrefix},
                        unset.connectEndpoint());
  expectSetRefused(unset, PUB_SUB_PUBLISHER_ENDPOINT, endpoint,
                   "Publisher Endpoint already set : tavrik:-15");

  PublishSubscribeMsgPattern sending("news", PUBLISHER);
  EXPECT_LOGGED_FAILURE(std::runtime_error, text + "zeromq:17367062",
                        (Prefixes{bindPrefix, classPrefix + "send() : "}), sending.send(nullptr));
  EXPECT_EQ(-1, sending.send(nullptr)) << "it is connected";
}

TEST_F(PublishSubscribeMsgPatternTest, WithoutASocketStaysUnconnected) {
  {
    TransportFaults faults;
    faults.fail("zmq_socket", EMFILE);
    EXPECT_LOGGED_FAILURE(
        std::runtime_error,
        "Failed to create ZeroMQ Socket : Too many open fileszeromq:" + std::to_string(0x1010018),
        (Prefixes{"Error : Tavrik::MQWrapper::createEndpt() : ", setPrefix}),
        publisher.setProperty(PUB_SUB_PUBLISHER_ENDPOINT, "inproc://lost"));
  }
  EXPECT_EQ(0, publisher.setProperty(PUB_SUB_PUBLISHER_ENDPOINT, endpoint));
  EXPECT_EQ(endpoint, publisher.getProperty(PUB_SUB_PUBLISHER_ENDPOINT));
}

// An endpoint is listed before it is connected, and the socket connects to the first of the list.
TEST_F(PublishSubscribeMsgPatternTest, WithoutASocketASubscriberKeepsTheEndpointAsItsFirst) {
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
  EXPECT_EQ(0, count(watch.texts(), "zmq_connect " + second));
}

TEST_F(PublishSubscribeMsgPatternTest, AnEndpointThatALiveSubscriberCannotConnectStaysListed) {
  subscriber.setProperty(PUB_SUB_PUBLISHER_ENDPOINT, endpoint);
  EXPECT_LOGGED_FAILURE(
      std::runtime_error,
      "Failed to connect ZeroMQ Socket : Invalid argument : End Point : nonsensezeromq:17432598",
      (Prefixes{"Error : Tavrik::MQWrapper::registerReceiver() : ", setPrefix}),
      subscriber.setProperty(PUB_SUB_PUBLISHER_ENDPOINT, "nonsense"));
  expectSetRefused(subscriber, PUB_SUB_PUBLISHER_ENDPOINT, "nonsense",
                   "Subscriber Endpoint already set : nonsensetavrik:-38");
}

TEST_F(PublishSubscribeMsgPatternTest, ARefusedOptionLeavesItConnectedAndIsNotTriedAgain) {
  struct Row {
    role_t role;
    channel_prop_t mark;
    std::string option;
  };
  for (const Row& row : {Row{PUBLISHER, PUB_SUB_SET_PUB_SNDHWM, "57 0"},
                         Row{PUBLISHER, PUB_SUB_SET_PUB_SNDHWM, "23 10"},
                         Row{SUBSCRIBER, PUB_SUB_SET_SUB_RCVHWM, "24 10"},
                         Row{SUBSCRIBER, PUB_SUB_SET_SUB_RCVHWM, "6 \"\""},
                         Row{SUBSCRIBER, PUB_SUB_SET_SUB_RCVHWM, "57 0"}}) {
    SCOPED_TRACE(row.option);
    PublishSubscribeMsgPattern pattern("news", row.role);
    {
      TransportFaults faults;
      faults.fail("zmq_setsockopt " + row.option, EINVAL);
      EXPECT_FAILURE(std::runtime_error,
                     "Failed to set ZeroMQ Socket Option : Invalid argumentzeromq:17235990",
                     pattern.setProperty(PUB_SUB_PUBLISHER_ENDPOINT, endpoint));
      EXPECT_EQ("zmq_setsockopt " + row.option, faults.texts().back()) << "nothing follows";
    }
    expectSetRefused(pattern, row.mark, "5", "channel is already connected5tavrik:-41");
    const TransportFaults watch;
    pattern.connectEndpoint();
    EXPECT_EQ(Calls{}, watch.texts());
  }
}

// Endpoints.

TEST_F(PublishSubscribeMsgPatternTest, ARefusedEndpointStoresNothing) {
  {
    TransportFaults faults;
    faults.fail("zmq_setsockopt 57", EINVAL);
    EXPECT_THROW(publisher.connectEndpoint(), std::runtime_error);
  }
  expectSetRefused(publisher, PUB_SUB_PUBLISHER_ENDPOINT, endpoint,
                   "Publisher Endpoint already set : tavrik:-15");
  EXPECT_EQ(0U, TestPeer::propertiesOf(publisher).size());
}

TEST_F(PublishSubscribeMsgPatternTest, APublisherHasOneEndpoint) {
  publisher.setProperty(PUB_SUB_PUBLISHER_ENDPOINT, endpoint);
  for (const std::string& another : {dir.ipcEndpoint(), endpoint}) {
    expectSetRefused(publisher, PUB_SUB_PUBLISHER_ENDPOINT, another,
                     "Publisher Endpoint already set : " + endpoint + "tavrik:-15");
  }
  EXPECT_EQ(endpoint, publisher.getProperty(PUB_SUB_PUBLISHER_ENDPOINT));
}

TEST_F(PublishSubscribeMsgPatternTest, ASubscriberConnectsToEachEndpointOnceAndReadsTheFirst) {
  const std::string lower = inprocEndpoint() + "a";
  const std::string upper = lower.substr(0, lower.size() - 1) + "A";
  EXPECT_EQ(0, subscriber.setProperty(PUB_SUB_PUBLISHER_ENDPOINT, lower));
  const TransportFaults watch;
  expectSetRefused(subscriber, PUB_SUB_PUBLISHER_ENDPOINT, lower,
                   "Subscriber Endpoint already set : " + lower + "tavrik:-38");
  EXPECT_EQ(Calls{}, watch.texts());
  EXPECT_EQ(0, subscriber.setProperty(PUB_SUB_PUBLISHER_ENDPOINT, upper));
  EXPECT_EQ(0, subscriber.setProperty(PUB_SUB_PUBLISHER_ENDPOINT, lower + "b"));
  EXPECT_EQ((Calls{"zmq_connect " + upper, "zmq_connect " + lower + "b"}), watch.texts());
  EXPECT_EQ(lower, subscriber.getProperty(PUB_SUB_PUBLISHER_ENDPOINT));
}

TEST_F(PublishSubscribeMsgPatternTest, TheCursorReturnsEachEndpointThenEmptyTextThenStartsAgain) {
  const auto next = [&] { return subscriber.getProperty(PUB_SUB_NEXT_PUBLISHER_ENDPOINT); };
  EXPECT_EQ("", next());
  EXPECT_EQ("", next());
  const Parts endpoints = {dir.ipcEndpoint(), dir.ipcEndpoint(), dir.ipcEndpoint()};
  subscriber.setProperty(PUB_SUB_PUBLISHER_ENDPOINT, endpoints[0]);
  subscriber.setProperty(PUB_SUB_PUBLISHER_ENDPOINT, endpoints[1]);
  for (const std::string& expected : {endpoints[0], endpoints[1], std::string(), endpoints[0]}) {
    EXPECT_EQ(expected, next());
  }
  subscriber.setProperty(PUB_SUB_PUBLISHER_ENDPOINT, endpoints[2]);
  for (const std::string& expected : {endpoints[1], endpoints[2], std::string(), endpoints[0]}) {
    EXPECT_EQ(expected, next());
  }
}

// Filters.

const std::string exists = "Filter already existstavrik:-17";
const std::string notSet = "Cannot remove unset filtertavrik:-18";

TEST_F(PublishSubscribeMsgPatternTest, RefusesAFilterTwiceAndTheRemovalOfAnUnsetOne) {
  for (const char* const filter : {"weather", "weather/north", "Weather", ""}) {
    EXPECT_EQ(0, subscriber.setProperty(PUB_SUB_SUBSCRIBE_FILTER, filter));
    expectSetRefused(subscriber, PUB_SUB_SUBSCRIBE_FILTER, filter, exists);
  }
  expectSetRefused(subscriber, PUB_SUB_UNSUBSCRIBE_FILTER, "weath", notSet);
  for (const char* const filter : {"weather", ""}) {
    EXPECT_EQ(0, subscriber.setProperty(PUB_SUB_UNSUBSCRIBE_FILTER, filter));
    expectSetRefused(subscriber, PUB_SUB_UNSUBSCRIBE_FILTER, filter, notSet);
    EXPECT_EQ(0, subscriber.setProperty(PUB_SUB_SUBSCRIBE_FILTER, filter));
  }
}

TEST_F(PublishSubscribeMsgPatternTest, FiltersOnALiveSocketReplaceTheCatchAllAndRestoreIt) {
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

TEST_F(PublishSubscribeMsgPatternTest, AFilterThatTheSocketRefusesToAddIsNotKept) {
  subscriber.setProperty(PUB_SUB_PUBLISHER_ENDPOINT, endpoint);
  subscriber.setProperty(PUB_SUB_SUBSCRIBE_FILTER, "a");
  TransportFaults faults;
  faults.fail("zmq_setsockopt 6", EINVAL);
  EXPECT_THROW(subscriber.setProperty(PUB_SUB_SUBSCRIBE_FILTER, "b"), std::runtime_error);
  EXPECT_EQ(0, subscriber.setProperty(PUB_SUB_SUBSCRIBE_FILTER, "b"));
}

TEST_F(PublishSubscribeMsgPatternTest, AFilterThatTheSocketRefusesToRemoveIsRemoved) {
  subscriber.setProperty(PUB_SUB_PUBLISHER_ENDPOINT, endpoint);
  subscriber.setProperty(PUB_SUB_SUBSCRIBE_FILTER, "a");
  TransportFaults faults;
  faults.fail("zmq_setsockopt 7", EINVAL);
  EXPECT_THROW(subscriber.setProperty(PUB_SUB_UNSUBSCRIBE_FILTER, "a"), std::runtime_error);
  expectSetRefused(subscriber, PUB_SUB_UNSUBSCRIBE_FILTER, "a", notSet);
}

TEST_F(PublishSubscribeMsgPatternTest, OnAllocationFailureAFilterReachesNeitherListNorSocket) {
  subscriber.setProperty(PUB_SUB_PUBLISHER_ENDPOINT, endpoint);
  const std::string filter(100, 'f');
  for (const int nth : {1, 2}) {  // the filter, the list
    const TransportFaults watch;
    EXPECT_OUT_OF_MEMORY(nth, {setPrefix},
                         subscriber.setProperty(PUB_SUB_SUBSCRIBE_FILTER, filter));
    EXPECT_EQ(Calls{}, watch.texts());
  }
  EXPECT_EQ(0, subscriber.setProperty(PUB_SUB_SUBSCRIBE_FILTER, filter));
}

// Sending and receiving.

const std::string receivePrefix = "Error : Tavrik:: PublishSubscribeMsgPattern::receive() : ";

TEST_F(PublishSubscribeMsgPatternTest, RefusesToSendAsSubscriberOrReceiveAsPublisherUnconnected) {
  Message message = messageOf({"kept"});
  const TransportFaults watch;
  EXPECT_LOGGED_FAILURE(std::logic_error, "send() Operation NOT permitted for SUBSCRIBERtavrik:-20",
                        {classPrefix + "send() : "}, subscriber.send(&message));
  EXPECT_LOGGED_FAILURE(std::logic_error,
                        "receive() Operation NOT permitted for PUBLISHERtavrik:-21",
                        {receivePrefix}, publisher.receive(&message, 0));
  EXPECT_EQ(Calls{}, watch.texts());
  EXPECT_EQ((Parts{"kept"}), partsOf(message));
}

TEST_F(PublishSubscribeMsgPatternTest, FailuresOfTheTransportAreLoggedBySendAndReceive) {
  publisher.setProperty(PUB_SUB_PUBLISHER_ENDPOINT, endpoint);
  subscriber.setProperty(PUB_SUB_PUBLISHER_ENDPOINT, endpoint);
  Message message = messageOf({"a"});
  TransportFaults faults;
  faults.fail("zmq_msg_send", EDOM);
  faults.fail("zmq_msg_recv", EDOM);
  const std::string domain = "Numerical argument out of domainzeromq:";
  EXPECT_LOGGED_FAILURE(
      std::runtime_error, "Failed to send messagepart : " + domain + "17498145",
      (Prefixes{"Error : Tavrik::MQWrapper::send() : ", classPrefix + "send() : "}),
      publisher.send(&message));
  EXPECT_LOGGED_FAILURE(std::runtime_error, "Failed to get messagepart : " + domain + "17694753",
                        (Prefixes{"Error : Tavrik::MQWrapper::receive() : ", receivePrefix}),
                        subscriber.receive(&message, 0));
}

TEST_F(PublishSubscribeMsgPatternTest, ReceivePassesItsTimeoutToTheTransport) {
  Message message;
  const TransportFaults watch;
  EXPECT_EQ(0, subscriber.receive(&message, 2));
  EXPECT_EQ("zmq_poll 1 2", watch.texts().back());
}

TEST_F(PublishSubscribeMsgPatternTest, ExchangesFramesWithPlainPubAndSubSockets) {
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
  message = messageOf({"weather", "sun"});
  EXPECT_EQ(2, publisher.send(&message)) << "without subscribers";
  PlainSocket plainSubscriber(ZMQ_SUB);
  plainSubscriber.setOption(ZMQ_SUBSCRIBE, "w");
  plainSubscriber.connect(second);
  while (!plainSubscriber.hasMessage()) EXPECT_EQ(2, publisher.send(&message));
  EXPECT_EQ((Frames{"weather", "sun"}), plainSubscriber.receive());
}

}  // namespace
