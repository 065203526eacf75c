// The heartbeat, the largest frame and the linger of a channel: what is accepted, what is refused,
// what is stored when memory runs out, and what the transport is asked for.
#include "roles.hpp"

#include <support/failing_allocator.hpp>
#include <support/failure.hpp>
#include <support/log_capture.hpp>
#include <support/transport_faults.hpp>
#include <tavrik/async_router_dealer_msg_pattern.hpp>
#include <tavrik/mq_wrapper.hpp>
#include <tavrik/publish_subscribe_msg_pattern.hpp>
#include <tavrik/request_reply_msg_pattern.hpp>

#include <cerrno>
#include <new>
#include <ostream>
#include <stdexcept>
#include <string>
#include <tuple>
#include <vector>

namespace {

using links::Role;
using support::AllocationFailure;
using support::Calls;
using support::debugLine;
using support::Log;
using support::making;
using support::TransportFaults;

struct Property {
  std::string name;
  channel_prop_t number;
  std::string maximum;
  std::string beyond;
};

void PrintTo(const Property& property, std::ostream* out) {
  *out << property.name;
}

const std::vector<Property> properties{
    {"CHANNEL_HEARTBEAT", CHANNEL_HEARTBEAT, "3600000", "3600001"},
    {"CHANNEL_MAX_MESSAGE_SIZE", CHANNEL_MAX_MESSAGE_SIZE, "2147483647", "2147483648"},
    {"CHANNEL_LINGER", CHANNEL_LINGER, "3600000", "3600001"},
};

std::string classOf(const Role& role) {
  switch (role.pattern) {
    case REQUEST_REPLY_PATTERN:
      return "RequestReplyMsgPattern";
    case PUBLISH_SUBSCRIBE_PATTERN:
      return "PublishSubscribeMsgPattern";
    default:
      return "AsyncRouterDealerMsgPattern";
  }
}

class ChannelPropertyTest : public testing::TestWithParam<std::tuple<Role, Property>> {
 protected:
  // A refusal is logged by the base and by the pattern.
  void expectRefused(const std::string& value, const std::string& text) {
    log.clear();
    EXPECT_FAILURE(std::logic_error, text, channel->setProperty(property.number, value));
    const std::string prefix = "Error : Tavrik::";
    EXPECT_EQ((Log{debugLine(prefix + "MsgPattern::setCommonProperty() : " + text),
                   debugLine(prefix + classOf(role) + "::setProperty() : " + text)}),
              log.lines());
  }

  void expectOutOfRange(const std::string& value) {
    expectRefused(value, "Invalid value for prop " + property.name + ": " + value + "tavrik:-43");
  }

  const Role& role = std::get<0>(GetParam());
  const Property& property = std::get<1>(GetParam());
  const tavrik::MQWrapper& transport = *tavrik::MQWrapper::getInstance();
  support::LogCapture log;
  support::TempDir dir;
  const links::Channel channel = links::make(role);
};

TEST_P(ChannelPropertyTest, ReadsZeroUntilItIsSet) {
  EXPECT_EQ("0", channel->getProperty(property.number));
  links::setEndpoint(*channel, dir.ipcEndpoint());
  links::connect(*channel);
  EXPECT_EQ("0", channel->getProperty(property.number));
}

TEST_P(ChannelPropertyTest, KeepsTheTextOfANumberInItsRange) {
  for (const std::string& value :
       {std::string("0"), std::string("1"), property.maximum, std::string("4294967296"),
        std::string(" 7 ms"), std::string("text"), std::string("")}) {
    EXPECT_EQ(0, channel->setProperty(property.number, value));
    EXPECT_EQ(value, channel->getProperty(property.number));
  }
  EXPECT_EQ(Log{}, log.lines());
}

TEST_P(ChannelPropertyTest, RefusesANumberOutOfItsRangeAndThenAConnectedChannel) {
  channel->setProperty(property.number, "5");
  for (const bool connected : {false, true}) {
    if (connected) {
      links::setEndpoint(*channel, dir.ipcEndpoint());
      links::connect(*channel);
    }
    expectOutOfRange(property.beyond);
    expectOutOfRange("-1");
    expectOutOfRange("4294967295");
  }
  expectRefused("6", "channel is already connected6tavrik:-44");
  expectRefused("0", "channel is already connected0tavrik:-44");
  EXPECT_EQ(-1, channel->setProperty(property.number, std::string(256, '1')));
  EXPECT_EQ("5", channel->getProperty(property.number));
}

TEST_P(ChannelPropertyTest, ZeroAsksNothingOfTheTransport) {
  const auto callsOf = [&](tavrik::TavrikChannel& ofChannel) {
    const TransportFaults watch;
    links::setEndpoint(ofChannel, dir.ipcEndpoint());
    links::connect(ofChannel);
    return watch.calls().size();
  };
  const links::Channel unset = links::make(role);
  channel->setProperty(property.number, "0");
  EXPECT_EQ(callsOf(*unset), callsOf(*channel));
}

INSTANTIATE_TEST_SUITE_P(, ChannelPropertyTest,
                         testing::Combine(testing::ValuesIn(links::allRoles),
                                          testing::ValuesIn(properties)),
                         [](const auto& test) {
                           return std::get<0>(test.param).name + "_" + std::get<1>(test.param).name;
                         });

Calls operator+(Calls first, const Calls& second) {
  first.insert(first.end(), second.begin(), second.end());
  return first;
}

const Calls heartbeatOf100{"zmq_setsockopt 75 100", "zmq_setsockopt 77 300",
                           "zmq_setsockopt 79 300", "zmq_setsockopt 66 1000"};
const Calls maxMessageSizeOf1000{"zmq_setsockopt 22 1000"};
const Calls noTypeOfService{"zmq_setsockopt 57 0"};

class ConnectedWithPropertiesTest : public testing::Test {
 protected:
  // Compares the calls that connect a channel, without the one that sets a client's identity.
  void expectConnecting(const Role& role, const std::string& heartbeat,
                        const std::string& maxMessageSize, const Calls& expected) {
    SCOPED_TRACE(role.name + ", heartbeat " + heartbeat + ", size " + maxMessageSize);
    const links::Channel channel = links::make(role);
    channel->setProperty(CHANNEL_HEARTBEAT, heartbeat);
    channel->setProperty(CHANNEL_MAX_MESSAGE_SIZE, maxMessageSize);
    channel->setProperty(CHANNEL_LINGER, "50");
    const TransportFaults watch;
    links::setEndpoint(*channel, dir.ipcEndpoint());
    if (role.pattern != PUBLISH_SUBSCRIBE_PATTERN) links::connect(*channel);
    Calls calls;
    for (const support::Call& call : watch.calls()) {
      const std::string function = call.text.substr(0, call.text.find(' '));
      const bool isIdentity = call.text.find("zmq_setsockopt 5 ") == 0;
      if (function == "zmq_bind" || function == "zmq_connect") {
        calls.push_back(function);
      } else if (function != "zmq_poll" && !isIdentity) {
        calls.push_back(call.text);
      }
    }
    EXPECT_EQ(expected, calls);
  }

  const tavrik::MQWrapper& transport = *tavrik::MQWrapper::getInstance();
  support::TempDir dir;
};

TEST_F(ConnectedWithPropertiesTest, EveryRoleSetsTheOptionsBeforeItBindsOrConnects) {
  const Calls options = heartbeatOf100 + maxMessageSizeOf1000;
  expectConnecting(links::requester, "100", "1000",
                   making("3") + noTypeOfService + options + Calls{"zmq_connect"});
  expectConnecting(links::replier, "100", "1000",
                   making("4") + noTypeOfService + options + Calls{"zmq_bind"});
  expectConnecting(
      links::publisher, "100", "1000",
      making("1") + noTypeOfService + options + Calls{"zmq_setsockopt 23 10", "zmq_bind"});
  expectConnecting(links::subscriber, "100", "1000",
                   making("2") + Calls{"zmq_setsockopt 24 10", "zmq_setsockopt 6 \"\""} +
                       noTypeOfService + options + Calls{"zmq_connect"});
  expectConnecting(links::client, "100", "1000",
                   making("5") + noTypeOfService + options + Calls{"zmq_connect"});
}

TEST_F(ConnectedWithPropertiesTest, AWorkerSetsThemOnTheProxysSocketForClients) {
  const Calls sockets = making("5") + making("6") + making("5") + noTypeOfService;
  const Calls handover{"zmq_setsockopt 56 1"};
  const Calls endpoints{"zmq_bind", "zmq_bind", "zmq_connect"};
  expectConnecting(links::worker, "100", "1000",
                   sockets + heartbeatOf100 + maxMessageSizeOf1000 + handover + endpoints);
  expectConnecting(links::worker, "0", "1000", sockets + maxMessageSizeOf1000 + endpoints);
}

TEST_F(ConnectedWithPropertiesTest, EachSetsItsOwnOptions) {
  const Calls created = making("3") + noTypeOfService;
  const Calls connected{"zmq_connect"};
  expectConnecting(links::requester, "100", "0", created + heartbeatOf100 + connected);
  expectConnecting(links::requester, "0", "1000", created + maxMessageSizeOf1000 + connected);
  expectConnecting(links::requester, "0", "0", created + connected);
}

TEST_F(ConnectedWithPropertiesTest, TheLargestValuesAreAccepted) {
  expectConnecting(links::replier, "3600000", "2147483647",
                   making("4") + noTypeOfService +
                       Calls{"zmq_setsockopt 75 3600000", "zmq_setsockopt 77 10800000",
                             "zmq_setsockopt 79 10800000", "zmq_setsockopt 66 30000",
                             "zmq_setsockopt 22 2147483647", "zmq_bind"});
}

TEST_F(ConnectedWithPropertiesTest, AnOptionThatIsRefusedLeavesTheChannelConnected) {
  const std::string endpoint = dir.ipcEndpoint();
  const links::Channel channel = links::make(links::requester);
  channel->setProperty(CHANNEL_HEARTBEAT, "100");
  TransportFaults faults;
  faults.fail("zmq_setsockopt 77", EINVAL);
  links::setEndpoint(*channel, endpoint);
  EXPECT_FAILURE(std::runtime_error,
                 "Failed to set ZeroMQ Socket Option : Invalid argumentzeromq:17235990",
                 links::connect(*channel));
  EXPECT_EQ(-1, channel->setProperty(REQ_REP_SERVER_ENDPOINT, endpoint));
}

// A pattern whose stored properties a test can see.
template <class Pattern>
class Open : public Pattern {
 public:
  using Pattern::Pattern;
  using tavrik::MsgPattern::properties;
  using tavrik::MsgPattern::socket;
};

using OpenRequestReply = Open<tavrik::RequestReplyMsgPattern>;
using OpenPublishSubscribe = Open<tavrik::PublishSubscribeMsgPattern>;
using OpenRouterDealer = Open<tavrik::AsyncRouterDealerMsgPattern>;

// Values that allocate.
const std::string blanks(40, ' ');
const std::string five = "5" + blanks;
const std::string seven = "7" + blanks;

class OutOfMemoryTest : public testing::Test {
 protected:
  // Sets the property while each of its allocations fails in turn, with and without an earlier
  // value.
  template <class Pattern>
  void expectAllOrNothing(role_t role, unsigned number, const std::string& value,
                          const std::string& earlier = "") {
    SCOPED_TRACE(testing::Message() << "role " << role << ", property " << number);
    const auto prop = static_cast<channel_prop_t>(number);
    bool failed = true;
    int nth = 0;
    while (failed) {
      Pattern pattern("out of memory", role);
      if (!earlier.empty()) pattern.setProperty(prop, earlier);
      const auto before = pattern.properties;
      {
        const AllocationFailure failure(++nth);
        try {
          pattern.setProperty(prop, value);
        } catch (const std::bad_alloc&) {
        }
        failed = failure.happened();
      }
      if (!failed) break;
      EXPECT_EQ(before, pattern.properties) << "allocation " << nth;
      EXPECT_EQ(nullptr, pattern.socket);
      EXPECT_EQ(0, pattern.setProperty(prop, value)) << "after allocation " << nth;
    }
    EXPECT_GT(nth, 1) << "no allocation has failed";
  }

  template <class Pattern>
  void expectAllOrNothingForChannelProperties(role_t role) {
    for (const unsigned prop : {7U, 4096U, 4097U, 4098U}) {
      expectAllOrNothing<Pattern>(role, prop, five);
      expectAllOrNothing<Pattern>(role, prop, seven, "5");
    }
  }

  support::LogCapture log;
  support::TempDir dir;
  const std::string endpoint = dir.ipcEndpoint();
};

TEST_F(OutOfMemoryTest, ChannelPropertiesAreSetOrNot) {
  expectAllOrNothingForChannelProperties<OpenRequestReply>(REQ_CLIENT);
  expectAllOrNothingForChannelProperties<OpenRequestReply>(REP_SERVER);
  expectAllOrNothingForChannelProperties<OpenPublishSubscribe>(PUBLISHER);
  expectAllOrNothingForChannelProperties<OpenPublishSubscribe>(SUBSCRIBER);
  expectAllOrNothingForChannelProperties<OpenRouterDealer>(ASYNC_DEALER_CLIENT);
  expectAllOrNothingForChannelProperties<OpenRouterDealer>(ASYNC_DEALER_WORKER);
}

TEST_F(OutOfMemoryTest, EndpointsAreSetOrNot) {
  const std::string other = "ipc://another" + blanks;
  for (const std::string& earlier : {std::string(), std::string("ipc://a")}) {
    expectAllOrNothing<OpenRequestReply>(REQ_CLIENT, REQ_REP_SERVER_ENDPOINT, other, earlier);
    expectAllOrNothing<OpenRequestReply>(REP_SERVER, REQ_REP_SERVER_ENDPOINT, other, earlier);
    expectAllOrNothing<OpenRouterDealer>(ASYNC_DEALER_CLIENT, ASYNC_DEALER_CLIENT_ENDPOINT, other,
                                         earlier);
    expectAllOrNothing<OpenRouterDealer>(ASYNC_DEALER_WORKER, ASYNC_DEALER_CLIENT_ENDPOINT, other,
                                         earlier);
    expectAllOrNothing<OpenRouterDealer>(ASYNC_DEALER_WORKER, ASYNC_DEALER_WORKER_ENDPOINT, other,
                                         earlier);
  }
}

TEST_F(OutOfMemoryTest, AnEndpointThatConnectsIsSetOrNot) {
  expectAllOrNothing<OpenPublishSubscribe>(PUBLISHER, PUB_SUB_PUBLISHER_ENDPOINT, endpoint);
  expectAllOrNothing<OpenPublishSubscribe>(SUBSCRIBER, PUB_SUB_PUBLISHER_ENDPOINT, endpoint);
}

TEST_F(OutOfMemoryTest, HighWaterMarksAreSetOrNot) {
  for (const std::string& earlier : {std::string(), std::string("3")}) {
    expectAllOrNothing<OpenPublishSubscribe>(PUBLISHER, PUB_SUB_SET_PUB_SNDHWM, five, earlier);
    expectAllOrNothing<OpenPublishSubscribe>(SUBSCRIBER, PUB_SUB_SET_SUB_RCVHWM, five, earlier);
    expectAllOrNothing<OpenRouterDealer>(ASYNC_DEALER_CLIENT, ASYNC_DEALER_CLIENT_SNDHWM, five,
                                         earlier);
  }
}

TEST_F(OutOfMemoryTest, FiltersAreSetOrNot) {
  expectAllOrNothing<OpenPublishSubscribe>(SUBSCRIBER, PUB_SUB_SUBSCRIBE_FILTER, five);
}

}  // namespace
