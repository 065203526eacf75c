// Which properties each role of each pattern may set and read, and what all patterns do alike.
#include <support/parts.hpp>
#include <support/pattern_test.hpp>
#include <support/router_dealer.hpp>
#include <support/test_peer.hpp>
#include <support/transport_faults.hpp>
#include <tavrik/msg_pattern_factory.hpp>

#include <algorithm>
#include <cerrno>
#include <gtest/gtest.h>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace {

using namespace support;
using tavrik::Message;
using tavrik::MsgPattern;

using Numbers = std::vector<unsigned>;

// A pattern and the codes of its refusals.
struct Pattern {
  std::string className;
  pattern_t number;
  role_t roles[2];
  int roleCode;
  int endpointCode;   // for an invalid endpoint
  int propertyCode;   // for a property that the role does not have
  int connectedCode;  // that setProperty() returns after connecting; 0: it depends on the property
};

const Pattern requestReply = {
    "RequestReplyMsgPattern", REQUEST_REPLY_PATTERN, {REQ_CLIENT, REP_SERVER}, -12, -13, -14, -1};
const Pattern publishSubscribe = {"PublishSubscribeMsgPattern",
                                  PUBLISH_SUBSCRIBE_PATTERN,
                                  {PUBLISHER, SUBSCRIBER},
                                  -15,
                                  -16,
                                  -19,
                                  0};
const Pattern routerDealer = {"AsyncRouterDealerMsgPattern",
                              ASYNC_ROUTER_DEALER_PATTERN,
                              {ASYNC_DEALER_CLIENT, ASYNC_DEALER_WORKER},
                              -23,
                              -26,
                              -27,
                              -32};

// A role and its properties.
struct Side {
  std::string name;
  const Pattern& of;
  role_t role;
  Numbers settable;  // with the high-water marks of other roles, which are refused differently
  Numbers readable;
  std::map<channel_prop_t, std::string> stored;  // after all of them were read
};

void PrintTo(const Side& side, std::ostream* out) {
  *out << side.name;
}

const std::vector<Side> sides = {
    {"Requester", requestReply, REQ_CLIENT, {0, 7}, {0, 7}, {{REQ_REP_SERVER_ENDPOINT, ""}}},
    {"Replier", requestReply, REP_SERVER, {0, 7}, {0, 7}, {{REQ_REP_SERVER_ENDPOINT, ""}}},
    {"Publisher",
     publishSubscribe,
     PUBLISHER,
     {1, 7, 9, 10},
     {1, 7, 9},
     {{PUB_SUB_PUBLISHER_ENDPOINT, ""}, {PUB_SUB_SET_PUB_SNDHWM, ""}}},
    {"Subscriber",
     publishSubscribe,
     SUBSCRIBER,
     {1, 2, 3, 7, 9, 10},
     {1, 7, 8, 10},
     {{PUB_SUB_SET_SUB_RCVHWM, ""}}},
    {"Client",
     routerDealer,
     ASYNC_DEALER_CLIENT,
     {4, 6, 7},
     {4, 6, 7},
     {{ASYNC_DEALER_CLIENT_ENDPOINT, ""}}},
    {"Worker",
     routerDealer,
     ASYNC_DEALER_WORKER,
     {4, 5, 6, 7},
     {5, 7, 11},
     {{ASYNC_DEALER_WORKER_ENDPOINT, ""}}},
};

bool contains(const Numbers& numbers, unsigned number) {
  return std::find(numbers.begin(), numbers.end(), number) != numbers.end();
}

// All properties, and two numbers that are none.
const Numbers allProperties = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, ~0U};

int set(MsgPattern& pattern, unsigned prop, const std::string& value) {
  return pattern.setProperty(static_cast<channel_prop_t>(prop), value);
}

// The properties that a role sets before it connects.
Numbers endpointsOf(role_t role) {
  switch (role) {
    case PUBLISHER:
    case SUBSCRIBER:
      return {PUB_SUB_PUBLISHER_ENDPOINT};
    case ASYNC_DEALER_CLIENT:
      return {ASYNC_DEALER_CLIENT_ENDPOINT};
    case ASYNC_DEALER_WORKER:
      return {ASYNC_DEALER_CLIENT_ENDPOINT, ASYNC_DEALER_WORKER_ENDPOINT};
    default:
      return {REQ_REP_SERVER_ENDPOINT};
  }
}

void connect(MsgPattern& pattern, role_t role, TempDir& dir) {
  for (const unsigned prop : endpointsOf(role)) EXPECT_EQ(0, set(pattern, prop, dir.ipcEndpoint()));
  pattern.connectEndpoint();
}

std::unique_ptr<MsgPattern> make(const std::string& name, pattern_t pattern, role_t role) {
  return std::unique_ptr<MsgPattern>(
      tavrik::MsgPatternFactory::getInstance()->createMsgPattern(name, pattern, role));
}

class PropertiesTest : public PatternTest, public testing::WithParamInterface<Side> {
 protected:
  PropertiesTest() : PatternTest(GetParam().of.className) {}
  ~PropertiesTest() noexcept override {}  // the destructors of patterns may throw

  const Side& side = GetParam();
  const std::string code = "tavrik:" + std::to_string(side.of.propertyCode);
  const Prefixes tosPrefixes = {"Error : Tavrik::MsgPattern::setTosPropVal() : ", setPrefix};
  const std::unique_ptr<MsgPattern> pattern = make(testName(), side.of.number, side.role);
};

TEST_P(PropertiesTest, RefusesToSetPropertiesThatItDoesNotHave) {
  for (const unsigned prop : allProperties) {
    if (contains(side.settable, prop)) continue;
    expectSetRefused(*pattern, prop, "*value", "Invalid property - cannot be set : *value" + code);
  }
}

TEST_P(PropertiesTest, RefusesToReadPropertiesThatItDoesNotHave) {
  for (const unsigned prop : allProperties) {
    if (!contains(side.readable, prop)) expectNotReadable(*pattern, prop, side.of.propertyCode);
  }
}

TEST_P(PropertiesTest, ReadsItsDefaultsAndStoresWhatItReadsAsEmptyText) {
  for (const unsigned prop : side.readable) {
    const std::string expected = prop == CHANNEL_TOS_PRIORITY         ? "0"
                                 : prop == ASYNC_DEALER_CLIENT_SNDHWM ? "1000"
                                                                      : "";
    EXPECT_EQ(expected, pattern->getProperty(static_cast<channel_prop_t>(prop))) << prop;
  }
  EXPECT_EQ(side.stored, TestPeer::propertiesOf(*pattern));
}

TEST_P(PropertiesTest, RefusesAnEndpointWithAnAsteriskAndKeepsTheOldOne) {
  for (const unsigned prop : endpointsOf(side.role)) {
    const std::string endpoint = dir.ipcEndpoint();
    const auto text = "Invalid Endpoint : tcp://*:1tavrik:" + std::to_string(side.of.endpointCode);
    expectSetRefused(*pattern, prop, "tcp://*:1", text);
    EXPECT_EQ(0, set(*pattern, prop, endpoint));
    expectSetRefused(*pattern, prop, "tcp://*:1", text);  // setting some endpoints connects
    if (!contains(side.readable, prop)) continue;
    EXPECT_EQ(endpoint, pattern->getProperty(static_cast<channel_prop_t>(prop)));
  }
}

TEST_P(PropertiesTest, OffersTheServiceTypeInEveryPattern) {
  EXPECT_EQ(0, pattern->setProperty(CHANNEL_TOS_PRIORITY, "16"));
  EXPECT_EQ("16", pattern->getProperty(CHANNEL_TOS_PRIORITY));
  EXPECT_LOGGED_FAILURE(std::logic_error,
                        "Invalid value for prop CHANNEL_TOS_PRIORITY: 256tavrik:-9", tosPrefixes,
                        pattern->setProperty(CHANNEL_TOS_PRIORITY, "256"));
  connect(*pattern, side.role, dir);
  EXPECT_LOGGED_FAILURE(std::logic_error, "channel is already connected1tavrik:-11", tosPrefixes,
                        pattern->setProperty(CHANNEL_TOS_PRIORITY, "1"));
}

TEST_P(PropertiesTest, OnceConnectedRefusesPropertiesByAReturnCodeOrAsBefore) {
  connect(*pattern, side.role, dir);
  log.clear();
  const bool returned = side.of.connectedCode != 0;
  for (const unsigned prop : allProperties) {
    const bool mark = prop == ASYNC_DEALER_CLIENT_SNDHWM && side.role >= ASYNC_DEALER_CLIENT;
    if (prop == CHANNEL_TOS_PRIORITY || mark) continue;  // these have tests of their own
    if (returned) {
      EXPECT_EQ(side.of.connectedCode, set(*pattern, prop, "*")) << prop;
      EXPECT_EQ(side.of.connectedCode, set(*pattern, prop, "inproc://x")) << prop;
    } else if (!contains(side.settable, prop)) {
      expectSetRefused(*pattern, prop, "*", "Invalid property - cannot be set : *" + code);
    }
  }
  if (returned) {
    EXPECT_EQ(Log{}, log.lines());
  }
}

TEST_P(PropertiesTest, ConnectsOnlyOnce) {
  connect(*pattern, side.role, dir);
  const TransportFaults watch;
  pattern->connectEndpoint();
  EXPECT_EQ(Calls{}, watch.texts());
}

TEST_P(PropertiesTest, LeavesInvalidArgumentsToTheTransport) {
  connect(*pattern, side.role, dir);
  Message message = messageOf({"kept"});
  if (side.role != SUBSCRIBER) {
    EXPECT_EQ(-1, pattern->send(nullptr));
  }
  if (side.role != PUBLISHER) {
    EXPECT_EQ(-1, pattern->receive(nullptr, 0));
    EXPECT_EQ(-1, pattern->receive(&message, -2));
  }
  EXPECT_EQ((Parts{"kept"}), partsOf(message));
}

INSTANTIATE_TEST_SUITE_P(Each, PropertiesTest, testing::ValuesIn(sides),
                         [](const auto& side) { return side.param.name; });

TEST(PatternRolesTest, EachPatternChecksTheNameFirstAndRefusesTheRolesOfOthers) {
  const LogCapture log;
  const std::string factoryPrefix = "Error : Tavrik::MsgPatternFactory::createMsgPattern() : ";
  for (const Pattern& of : {requestReply, publishSubscribe, routerDealer}) {
    const std::string prefix = "Error : Tavrik::" + of.className + "::" + of.className + "() : ";
    for (const unsigned number : {0U, 1U, 2U, 3U, 4U, 5U, 6U, ~0U}) {
      SCOPED_TRACE(number);
      const auto role = static_cast<role_t>(number);
      EXPECT_LOGGED_FAILURE(
          std::logic_error, "Invalid Channel name specifiedtavrik:-1",
          (Prefixes{"Error : Tavrik::MsgPattern::MsgPattern() : ", factoryPrefix}),
          make("", of.number, role));
      if (role == of.roles[0] || role == of.roles[1]) continue;
      EXPECT_LOGGED_FAILURE(std::logic_error,
                            "Invalid Role specifiedtavrik:" + std::to_string(of.roleCode),
                            (Prefixes{prefix, factoryPrefix}), make("x", of.number, role));
    }
  }
}

// A high-water mark, the role that has it and one that has not.
struct Mark {
  std::string name;
  channel_prop_t prop;
  const Pattern& of;
  role_t own;
  role_t other;
  int roleCode;
  int valueCode;
  int connectedCode;
};

void PrintTo(const Mark& mark, std::ostream* out) {
  *out << mark.name;
}

class HighWaterMarkTest : public PatternTest, public testing::WithParamInterface<Mark> {
 protected:
  HighWaterMarkTest() : PatternTest(GetParam().of.className) {}
  ~HighWaterMarkTest() noexcept override {}

  std::string badValue(const std::string& value) const {
    return "Invalid value for prop " + mark.name + ": " + value +
           "tavrik:" + std::to_string(mark.valueCode);
  }

  const Mark& mark = GetParam();
  const std::unique_ptr<MsgPattern> own = make(testName(), mark.of.number, mark.own);
  const std::unique_ptr<MsgPattern> other = make(testName(), mark.of.number, mark.other);
};

TEST_P(HighWaterMarkTest, KeepsTheTextOfAValueFrom1To1000) {
  for (const char* const value : {"1", "1000", "12abc", "4294967297", " 7"}) {
    EXPECT_EQ(0, own->setProperty(mark.prop, value));
    EXPECT_EQ(value, own->getProperty(mark.prop));
  }
  for (const char* const value :
       {"0", "1001", "abc", "", "-1", "0x10", "2147483649", "4294967296"}) {
    expectSetRefused(*own, mark.prop, value, badValue(value));
  }
  EXPECT_EQ(" 7", own->getProperty(mark.prop));
}

TEST_P(HighWaterMarkTest, ChecksRoleBeforeValueBeforeConnection) {
  EXPECT_EQ(0, own->setProperty(mark.prop, "7"));
  connect(*own, mark.own, dir);
  connect(*other, mark.other, dir);
  expectSetRefused(
      *other, mark.prop, "0",
      "Invalid role with prop " + mark.name + ": 0tavrik:" + std::to_string(mark.roleCode));
  expectSetRefused(*own, mark.prop, "0", badValue("0"));
  expectSetRefused(*own, mark.prop, "5",
                   "channel is already connected5tavrik:" + std::to_string(mark.connectedCode));
  EXPECT_EQ("7", own->getProperty(mark.prop));
}

INSTANTIATE_TEST_SUITE_P(
    Each, HighWaterMarkTest,
    testing::Values(Mark{"PUB_SUB_SET_PUB_SNDHWM", PUB_SUB_SET_PUB_SNDHWM, publishSubscribe,
                         PUBLISHER, SUBSCRIBER, -15, -39, -41},
                    Mark{"PUB_SUB_SET_SUB_RCVHWM", PUB_SUB_SET_SUB_RCVHWM, publishSubscribe,
                         SUBSCRIBER, PUBLISHER, -15, -40, -41},
                    Mark{"ASYNC_DEALER_CLIENT_SNDHWM", ASYNC_DEALER_CLIENT_SNDHWM, routerDealer,
                         ASYNC_DEALER_CLIENT, ASYNC_DEALER_WORKER, -23, -24, -25}),
    [](const auto& mark) { return mark.param.name; });

}  // namespace
