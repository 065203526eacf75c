// The table of operations.
#include "operation.hpp"

#include <support/counted_handle.hpp>
#include <tavrik/error.hpp>
#include <tavrik/tavrik.h>
#include <tavrik/typed_channels.hpp>

#include <zmq.h>

#include <cerrno>
#include <gtest/gtest.h>
#include <iterator>
#include <utility>

namespace points {
namespace {

using Prefixes = std::vector<std::string>;
using State = std::function<void(Scene&)>;

const role_t roles[] = {REQ_CLIENT, REP_SERVER,          PUBLISHER,
                        SUBSCRIBER, ASYNC_DEALER_CLIENT, ASYNC_DEALER_WORKER};

const std::string routerDealer = "Error : Tavrik::AsyncRouterDealerMsgPattern::";
const std::string publishSubscribe = "Error : Tavrik::PublishSubscribeMsgPattern::";
const std::string channelPrefix = "Error : Tavrik::TavrikChannel::";

std::function<std::unique_ptr<Scene>()> in(role_t role, const State& state = nullptr) {
  return [=] {
    auto scene = std::make_unique<Scene>(role);
    if (state) state(*scene);
    return scene;
  };
}

// A scene without a channel.
std::function<std::unique_ptr<Scene>()> messages(const State& state = nullptr) {
  return [=] {
    auto scene = std::make_unique<Scene>();
    if (state) state(*scene);
    return scene;
  };
}

void connected(Scene& scene) {
  scene.connect();
}
void withEveryProperty(Scene& scene) {
  scene.setEveryProperty();
}

std::string title(const std::string& text, role_t role) {
  const char* const names[] = {"client",     "server",        "publisher",
                               "subscriber", "dealer client", "worker"};
  return std::string(names[role]) + ": " + text;
}

// Calls, one for each face.

int send(Scene& s) {
  return s.channel->send(s.subject.c_str(), &s.message);
}
int sendInC(Scene& s) {
  return tavrik_sendmsg(s.channel.get(), s.subject.c_str(), &s.message);
}
int sendPartsInC(Scene& s) {
  return tavrik_send(s.channel.get(), s.subject.c_str(), 2, frames(0)[1].c_str(), "short");
}
int sendBinary(Scene& s) {
  return s.channel->sendBinary(s.subject.c_str(), s.subject.data(), 40);
}
int sendBinaryInC(Scene& s) {
  return tavrik_sendBinary(s.channel.get(), s.subject.c_str(), s.subject.data(), 40);
}

Action receive(long timeout) {
  return [=](Scene& s) { return s.channel->receive(s.buffer, &s.other, timeout); };
}
Action receiveInC(long timeout) {
  return [=](Scene& s) { return tavrik_receivemsg(s.channel.get(), s.buffer, &s.other, timeout); };
}
int receiveBinary(Scene& s) {
  return s.channel->receiveBinary(s.buffer, &s.data, &s.size, 0);
}
int receiveBinaryInC(Scene& s) {
  return tavrik_receiveBinary(s.channel.get(), s.buffer, &s.data, &s.size, 0);
}

int poll(Scene& s) {
  tavrik_pollitem_t item = {s.channel.get(), TAVRIK_POLLIN, 0};
  return tavrik::channel_poll(&item, 1, 0);
}
int pollInC(Scene& s) {
  tavrik_pollitem_t item = {s.channel.get(), TAVRIK_POLLIN, 0};
  return tavrik_poll(&item, 1, 0);
}

// The empty value stands for the scene's endpoint.
Action set(channel_prop_t prop, const std::string& value) {
  return [=](Scene& s) { return s.channel->setProperty(prop, value.empty() ? s.endpoint : value); };
}
Action setInC(channel_prop_t prop, const std::string& value) {
  return [=](Scene& s) {
    const std::string& text = value.empty() ? s.endpoint : value;
    return tavrik_setProperty(s.channel.get(), prop, text.c_str());
  };
}
Action get(channel_prop_t prop) {
  return [=](Scene& s) {
    s.channel->getProperty(prop);
    return 0;
  };
}
Action getInC(channel_prop_t prop) {
  return [=](Scene& s) { return tavrik_getProperty(s.channel.get(), prop, s.buffer); };
}

int erase(Scene& s) {
  s.channel.reset();
  return 0;
}
int eraseInC(Scene& s) {
  tavrik_deleteChannel(s.channel.release());
  return 0;
}

// Prefixes.

Prefixes sendMembers(role_t role) {
  if (role == PUBLISHER || role == SUBSCRIBER) return {publishSubscribe + "send() : "};
  if (role >= ASYNC_DEALER_CLIENT) return {routerDealer + "send() : "};
  return {};
}
Prefixes receiveMembers(role_t role) {
  if (role == PUBLISHER || role == SUBSCRIBER) {
    return {"Error : Tavrik:: PublishSubscribeMsgPattern::receive() : "};
  }
  if (role >= ASYNC_DEALER_CLIENT) return {routerDealer + "AsyncRouterDealerMsgPattern() : "};
  return {};
}
Prefixes plus(Prefixes prefixes, const std::string& last) {
  prefixes.push_back(last);
  return prefixes;
}

// Checks.

std::string textOf(const std::function<void()>& body) {
  try {
    body();
  } catch (const std::exception& failure) {
    return failure.what();
  }
  return "";
}

// What the action returns; the code in what it throws.
int codeOf(Scene& s, const Action& action) {
  try {
    return action(s);
  } catch (const std::exception& failure) {
    return decode_error(failure.what());
  }
}

void expectOutOfTurn(const std::function<void()>& body) {
  EXPECT_NE(std::string::npos, textOf(body).find(zmq_strerror(EFSM)));
}

// The peer gets all of the message; if some frames had been sent, behind them.
Check afterSending(const Parts& wire, int result) {
  return [=](Scene& s, const Failed& failed, const Action& again) {
    const bool whole = failed.sent == static_cast<int>(wire.size()) + s.routingFrames();
    if (whole && s.takesTurns()) {
      expectOutOfTurn([&] { s.channel->send(s.subject.c_str(), &s.message); });
    } else {
      EXPECT_EQ(result, codeOf(s, again));
    }
    Parts received = s.receiveAtPeer();
    if (failed.sent == 0 || whole) {
      EXPECT_EQ(wire, received);
    } else {
      ASSERT_LE(wire.size(), received.size());
      EXPECT_EQ(wire, Parts(received.end() - static_cast<long>(wire.size()), received.end()));
    }
  };
}

// A torn request has been answered with one empty frame, and the server receives the next one.
void expectAnswered(Scene& s) {
  EXPECT_EQ((Parts{""}), s.receiveAtPeer());
  s.send(frames(2));
  EXPECT_EQ(frames(2), s.receiveNow());
}

// The next receive gets the message that has not been touched. If the first frames of a message
// have been taken, it discards the others.
Check afterReceiving(bool torn) {
  return [=](Scene& s, const Failed& failed, const Action& /*again*/) {
    const int all = static_cast<int>(frames(0).size()) + s.routingFrames();
    const int taken = failed.taken - (torn ? all - 1 : 0);
    const bool whole = failed.call.empty() && failed.measured == (torn ? 2 * all : all);
    if (taken <= 0) {
      if (torn && s.role == REP_SERVER) {
        EXPECT_EQ(Parts{}, s.receiveNow());
        return expectAnswered(s);
      }
      EXPECT_EQ(frames(torn ? 1 : 0), s.receiveNow());
      return;
    }
    if (s.role == REP_SERVER && !whole) {
      EXPECT_EQ(Parts{}, s.receiveNow());
      return expectAnswered(s);
    }
    if (s.role == REP_SERVER) {
      EXPECT_EQ(2, s.channel->send(s.subject.c_str(), &s.message));
      EXPECT_EQ(frames(0), s.receiveAtPeer());
    }
    if (s.role == REQ_CLIENT && !whole) expectOutOfTurn([&] { s.receiveNow(); });
    s.obtain(2);
    EXPECT_EQ(frames(2), s.receiveNow());
  };
}

Check afterReceivingBinary() {
  return [receiving = afterReceiving(false)](Scene& s, const Failed& failed, const Action& again) {
    EXPECT_EQ(nullptr, s.data);
    receiving(s, failed, again);
  };
}

// The torn message is discarded by the next poll.
void afterPollingTorn(Scene& s, const Failed&, const Action& again) {
  EXPECT_EQ(s.takesTurns() ? 0 : 1, codeOf(s, again));
  if (s.role == REP_SERVER) expectAnswered(s);
  if (!s.takesTurns()) {
    EXPECT_EQ(frames(1), s.receiveNow());
  }
}

// After a failed call, the action is refused with the code. After a failed allocation nothing has
// changed.
Check afterCall(int code) {
  return [=](Scene& s, const Failed& failed, const Action& again) {
    EXPECT_EQ(failed.call.empty() ? 0 : code, codeOf(s, again));
  };
}

// The endpoint counts as set after a failed call.
void afterFirstEndpoint(Scene& s, const Failed& failed, const Action& again) {
  if (s.isConnected()) return;
  const bool listed = s.role == SUBSCRIBER && !failed.call.empty();
  EXPECT_EQ(listed ? -38 : 0, codeOf(s, again));
  if (s.role == SUBSCRIBER) poll(s);
  EXPECT_TRUE(s.isConnected());
}

// Rows.

using Operations = std::vector<Operation>;

// The name, the state, the result and the faces; the other members follow.
Operation& add(Operations& all, const std::string& name,
               const decltype(Operation::prepare)& prepare, int result, const Action& inClasses,
               const Action& inC) {
  all.emplace_back();
  Operation& added = all.back();
  added.name = name;
  added.prepare = prepare;
  added.result = result;
  added.inClasses = inClasses;
  added.inC = inC;
  return added;
}

Operation& addSend(Operations& all, const std::string& name, role_t role, const State& state) {
  Operation& added = add(all, title(name, role), in(role, state), 2, send, sendInC);
  added.members = sendMembers(role);
  added.function = "tavrik_sendmsg";
  return added;
}

Operation& addReceive(Operations& all, const std::string& name, role_t role, const State& state,
                      int result, long timeout = 0) {
  Operation& added =
      add(all, title(name, role), in(role, state), result, receive(timeout), receiveInC(timeout));
  added.members = receiveMembers(role);
  added.function = "tavrik_receivemsg";
  return added;
}

Operation& addPoll(Operations& all, const std::string& name, role_t role, const State& state,
                   int result) {
  return add(all, title(name, role), in(role, state), result, poll, pollInC);
}

Operation& addSet(Operations& all, const std::string& name, role_t role, const State& state,
                  int result, channel_prop_t prop, const std::string& value) {
  Operation& added =
      add(all, title(name, role), in(role, state), result, set(prop, value), setInC(prop, value));
  const char* const classes[] = {"RequestReplyMsgPattern", "PublishSubscribeMsgPattern",
                                 "AsyncRouterDealerMsgPattern"};
  added.members = {std::string("Error : Tavrik::") + classes[patternOf(role)] +
                   "::setProperty() : "};
  added.function = "tavrik_setProperty";
  return added;
}

void addConnecting(Operations& all, role_t role, const std::string& how, const State& properties) {
  const bool isWorker = role == ASYNC_DEALER_WORKER;
  const State reachable = [=](Scene& s) {
    if (isWorker) s.joinProxy();
    if (properties) properties(s);
    s.openPeer();
  };
  const State ready = [=](Scene& s) {
    reachable(s);
    if (isWorker) s.makeSendable();
  };
  if (role != PUBLISHER) addPoll(all, "a poll connects" + how, role, reachable, 0);
  if (role == REQ_CLIENT || role >= ASYNC_DEALER_CLIENT) {
    addSend(all, "a send connects" + how, role, ready);
  }
  if (role == REP_SERVER) addReceive(all, "a receive connects" + how, role, reachable, 0);
  if (role == REP_SERVER) all.back().exempt = {{"zmq_msg_recv", 1, EAGAIN, 0}};
  if (role >= ASYNC_DEALER_CLIENT) {
    addReceive(all, "a receive connects" + how, role, reachable, 0, 1);
  }
  if (isWorker) {
    addReceive(all, "a receive starts the proxy" + how, role, properties, 0, 1).startsProxy = true;
    addPoll(all, "a poll starts the proxy" + how, role, properties, 0).startsProxy = true;
  }
}

void addPublishSubscribeEndpoints(Operations& all) {
  for (const role_t role : {PUBLISHER, SUBSCRIBER}) {
    for (const State& properties : {State(), State(withEveryProperty)}) {
      const std::string how = properties ? ", with every property" : "";
      const State state = [=](Scene& s) {
        if (properties) properties(s);
        s.openPeer();
      };
      addSet(all, "the endpoint connects" + how, role, state, 0, PUB_SUB_PUBLISHER_ENDPOINT, "")
          .afterwards = afterFirstEndpoint;
    }
  }
  addSet(all, "a second endpoint", SUBSCRIBER, connected, 0, PUB_SUB_PUBLISHER_ENDPOINT,
         "inproc://second." + longText)
      .afterwards = afterCall(-38);
  const auto filtered = [](Scene& s) {
    s.setEveryProperty();
    s.connect();
  };
  addSet(all, "a first filter", SUBSCRIBER, connected, 0, PUB_SUB_SUBSCRIBE_FILTER, longText);
  addSet(all, "a second filter", SUBSCRIBER, filtered, 0, PUB_SUB_SUBSCRIBE_FILTER, longText);
  addSet(all, "the last filter is removed", SUBSCRIBER, filtered, 0, PUB_SUB_UNSUBSCRIBE_FILTER,
         frames(0)[0])
      .afterwards = afterCall(-18);
  const auto twoFilters = [=](Scene& s) {
    filtered(s);
    s.channel->setProperty(PUB_SUB_SUBSCRIBE_FILTER, longText);
  };
  addSet(all, "a filter is removed", SUBSCRIBER, twoFilters, 0, PUB_SUB_UNSUBSCRIBE_FILTER,
         longText)
      .afterwards = afterCall(-18);
}

void addSends(Operations& all, role_t role) {
  const State ready = [](Scene& s) {
    s.connect();
    s.makeSendable();
  };
  addSend(all, "a message is sent", role, ready).afterwards = afterSending(frames(0), 2);
  if (role == ASYNC_DEALER_WORKER) return;  // the other functions send no reply handle
  Operation& parts =
      add(all, title("parts are sent", role), in(role, ready), 2, nullptr, sendPartsInC);
  parts.members = sendMembers(role);
  parts.function = "tavrik_send";
  parts.afterwards = afterSending(frames(0), 2);
  Operation& binary =
      add(all, title("bytes are sent", role), in(role, ready), 1, sendBinary, sendBinaryInC);
  binary.members = plus(sendMembers(role), channelPrefix + "sendBinary() : ");
  binary.function = "tavrik_sendBinary";
  binary.afterwards = afterSending({frames(0)[0], frames(0)[0].substr(0, 40)}, 1);
}

void addReceives(Operations& all, role_t role) {
  const State there = [](Scene& s) {
    s.connect();
    s.obtain(0);
  };
  const auto tornWithNext = [](Scene& s) {
    s.connect();
    s.tear();
    if (!s.takesTurns()) s.send(frames(1));
  };
  Operation& message = addReceive(all, "a message is received", role, there, 2);
  message.exempt = {{"zmq_msg_recv", 1, EAGAIN, 0}};
  message.afterwards = afterReceiving(false);

  // The first attempt finds no message, so that the receive waits for one.
  Operation& wait = addReceive(all, "a message is waited for", role, there, 2, 20);
  wait.exempt = {{"zmq_msg_recv", 1, EAGAIN, 2}, {"zmq_poll", 1, 0, 0}};
  wait.afterwards = afterReceiving(false);
  wait.firstAttemptFails = true;

  Operation& binary = add(all, title("bytes are received", role), in(role, there), 2, receiveBinary,
                          receiveBinaryInC);
  binary.members = plus(receiveMembers(role), channelPrefix + "receiveBinary() : ");
  binary.function = "tavrik_receiveBinary";
  binary.exempt = {{"zmq_msg_recv", 1, EAGAIN, 0}};
  binary.noBufferText = "Failed to allocate memory to buffertavrik:-3";
  binary.afterwards = afterReceivingBinary();

  addPoll(all, "a message is polled for", role, there, 1);
  addPoll(all, "a torn message is polled for", role, tornWithNext, role <= REP_SERVER ? 0 : 1)
      .afterwards = afterPollingTorn;
  if (role == REQ_CLIENT) return;  // whose turn it then is to send
  Operation& torn = addReceive(all, "a torn message is discarded", role, tornWithNext,
                               role == REP_SERVER ? 0 : 2);
  const int discarded = role == ASYNC_DEALER_WORKER ? 3 : 2;
  torn.exempt = {{"zmq_msg_recv", discarded + 1, EAGAIN, 0}};
  torn.afterwards = afterReceiving(true);
}

void addDeletions(Operations& all, role_t role) {
  const std::string name = (role == ASYNC_DEALER_WORKER ? "proxy of " : "") + longText;
  for (const bool lingers : {false, true}) {
    const State state = [=](Scene& s) {
      if (lingers) Scene::settleDeletions();
      s.joinProxy();
      if (lingers) s.channel->setProperty(CHANNEL_LINGER, "20000");
      s.connect();
      // ZeroMQ destroys a socket only when its peers in the process have let go of it.
      if (lingers) s.closePeer();
    };
    Operation& deletion =
        add(all, title(lingers ? "it is deleted and lingers" : "it is deleted", role),
            in(role, state), 0, erase, eraseInC);
    deletion.members = {channelPrefix + "~TavrikChannel() : "};
    deletion.failsQuietly = true;
    deletion.exempt = {
        {"zmq_poll", 1, EINTR, 0},
        {"zmq_poll", 1, 0, 0,
         "Info : CHANNEL_LINGER ended before every message was sent on channel " + name},
        {"zmq_close", 2, 0, 0}};
  }
}

// Setting and reading what does not reach ZeroMQ, and refusals.
void addProperties(Operations& all, role_t role) {
  struct Row {
    channel_prop_t prop;
    const char* value;
  };
  std::vector<Row> rows{{CHANNEL_TOS_PRIORITY, "8"},
                        {CHANNEL_HEARTBEAT, "1000"},
                        {CHANNEL_MAX_MESSAGE_SIZE, "1000"},
                        {CHANNEL_LINGER, "1000"}};
  if (role <= REP_SERVER) rows.push_back({REQ_REP_SERVER_ENDPOINT, longText.c_str()});
  if (role == PUBLISHER) rows.push_back({PUB_SUB_SET_PUB_SNDHWM, "20"});
  if (role == SUBSCRIBER) rows.push_back({PUB_SUB_SET_SUB_RCVHWM, "20"});
  if (role == SUBSCRIBER) rows.push_back({PUB_SUB_SUBSCRIBE_FILTER, longText.c_str()});
  if (role >= ASYNC_DEALER_CLIENT) rows.push_back({ASYNC_DEALER_CLIENT_ENDPOINT, longText.c_str()});
  if (role == ASYNC_DEALER_CLIENT) rows.push_back({ASYNC_DEALER_CLIENT_SNDHWM, "20"});
  if (role == ASYNC_DEALER_WORKER) rows.push_back({ASYNC_DEALER_WORKER_ENDPOINT, longText.c_str()});
  for (const Row& row : rows) {
    const std::string number = std::to_string(row.prop);
    addSet(all, "property " + number + " is set", role, nullptr, 0, row.prop, row.value);
    if (row.prop == PUB_SUB_SUBSCRIBE_FILTER) continue;
    if (role == ASYNC_DEALER_WORKER && row.prop == ASYNC_DEALER_CLIENT_ENDPOINT) continue;
    // A value that has to be copied, whatever the number in front.
    const std::string value = "20" + std::string(50, ' ');
    const State stored = [=](Scene& s) { s.channel->setProperty(row.prop, value); };
    Operation& reading = add(all, title("property " + number + " is read", role), in(role, stored),
                             0, get(row.prop), getInC(row.prop));
    reading.function = "tavrik_getProperty";
  }
  const channel_prop_t next = patternOf(role) == PUBLISH_SUBSCRIBE_PATTERN
                                  ? PUB_SUB_NEXT_PUBLISHER_ENDPOINT
                                  : ASYNC_DEALER_NEXT_CLIENT_ENDPOINT;
  if (role == SUBSCRIBER || role == ASYNC_DEALER_WORKER) {
    add(all, title("the next endpoint is read", role),
        in(role,
           [](Scene& s) {
             s.joinProxy();
             s.setEveryProperty();
             s.connect();
           }),
        0, get(next), getInC(next));
  }
}

// What a channel in this role refuses: with a failed allocation the refusal or the lack of memory
// is reported.
void addRefusals(Operations& all, role_t role) {
  const int noProperty[] = {-14, -19, -27};
  const int badEndpoint[] = {-13, -16, -26};
  const int connectedToSet[] = {-1, 0, -32};
  const pattern_t pattern = patternOf(role);
  const channel_prop_t foreign =
      pattern == PUBLISH_SUBSCRIBE_PATTERN ? REQ_REP_SERVER_ENDPOINT : PUB_SUB_PUBLISHER_ENDPOINT;
  const channel_prop_t endpoint = endpointOf(role);
  const std::string wildcard = "tcp://*:" + longText;
  addSet(all, "a foreign property is refused", role, nullptr, noProperty[pattern], foreign,
         longText);
  add(all, title("a foreign property is not read", role), in(role), noProperty[pattern],
      get(foreign), getInC(foreign));
  addSet(all, "a wildcard is refused", role, nullptr, badEndpoint[pattern], endpoint, wildcard);
  addSet(all, "a type of service is refused", role, nullptr, -9, CHANNEL_TOS_PRIORITY, "256");
  addSet(all, "a heartbeat is refused", role, nullptr, -43, CHANNEL_HEARTBEAT, "-1");
  addSet(all, "a late type of service is refused", role, connected, -11, CHANNEL_TOS_PRIORITY, "1");
  addSet(all, "a late linger is refused", role, connected, -44, CHANNEL_LINGER, "1");
  if (pattern != PUBLISH_SUBSCRIBE_PATTERN) {
    addSet(all, "a late endpoint is refused", role, connected, connectedToSet[pattern], endpoint,
           longText);
  }
  if (role == PUBLISHER) {
    addReceive(all, "a receive is refused", role, connected, -21);
    addPoll(all, "a poll is refused", role, nullptr, -3);
  }
  if (role == SUBSCRIBER) addSend(all, "a send is refused", role, connected).result = -20;
  if (role == SUBSCRIBER) {
    addSet(all, "an unset filter is refused", role, nullptr, -18, PUB_SUB_UNSUBSCRIBE_FILTER,
           longText);
  }
  if (role == ASYNC_DEALER_WORKER) {
    addSend(all, "a send without a handle is refused", role, connected).result = -28;
  }
}

template <class Channel>
Action makes(role_t role) {
  return [=](Scene&) {
    const Channel made(longText, role);
    return 0;
  };
}

void addCreations(Operations& all, role_t role) {
  const pattern_t pattern = patternOf(role);
  const auto inClasses = [=](Scene&) {
    const TavrikChannel made(longText, pattern, role);
    return 0;
  };
  const auto inC = [=](Scene&) {
    tavrik_channel_t* const made = tavrik_createChannel(longText.c_str(), pattern, role);
    tavrik_deleteChannel(made);
    return made != nullptr ? 0 : -3;
  };
  Operation& creation = add(all, title("it is created", role), messages(), 0, inClasses, inC);
  creation.members = {"Error : Tavrik::MsgPattern::MsgPattern() : ",
                      "Error : Tavrik::MsgPatternFactory::createMsgPattern() : ",
                      channelPrefix + "TavrikChannel() : "};
  creation.function = "tavrik_createChannel";
  creation.makesObject = true;
  const auto typed = std::vector<Action>{makes<tavrik::RequestReplyChannel>(role),
                                         makes<tavrik::PublishSubscribeChannel>(role),
                                         makes<tavrik::AsyncRouterDealerChannel>(role)}[pattern];
  add(all, title("a typed one is created", role), messages(), 0, typed, nullptr);
  const int badRole[] = {-15, -23, -12};  // of the next pattern
  const auto wrong = [=](Scene&) {
    const TavrikChannel made(longText, static_cast<pattern_t>((pattern + 1) % 3), role);
    return 0;
  };
  add(all, title("another pattern refuses the role", role), messages(), badRole[pattern], wrong,
      nullptr);
}

// A setter of a typed channel, which sets a property that addSet() has a row for.
template <class Channel>
void addTyped(Operations& all, const std::string& name, role_t role,
              int (Channel::*setter)(std::string)) {
  Operation& added = addSet(
      all, name, role,
      [](Scene& s) {
        s.channel = std::make_unique<Channel>(s.name, s.role);
        s.openPeer();
      },
      0, CHANNEL_TOS_PRIORITY, "");
  added.inClasses = [=](Scene& s) {
    return (static_cast<Channel&>(*s.channel).*setter)(s.endpoint);
  };
  added.inC = nullptr;
}

void addTypedSetters(Operations& all) {
  using tavrik::AsyncRouterDealerChannel;
  using tavrik::PublishSubscribeChannel;
  using tavrik::RequestReplyChannel;
  addTyped(all, "setServerEndPoint", REQ_CLIENT, &RequestReplyChannel::setServerEndPoint);
  addTyped(all, "setPublisherEndPoint", PUBLISHER, &PublishSubscribeChannel::setPublisherEndPoint);
  all.back().afterwards = afterFirstEndpoint;
  addTyped(all, "subscribe", SUBSCRIBER, &PublishSubscribeChannel::subscribe);
  addTyped(all, "unsubscribe", SUBSCRIBER, &PublishSubscribeChannel::unsubscribe);
  all.back().result = -18;
  addTyped(all, "setServerEndPoint", ASYNC_DEALER_CLIENT,
           &AsyncRouterDealerChannel::setServerEndPoint);
  addTyped(all, "setWorkerEndPoint", ASYNC_DEALER_WORKER,
           &AsyncRouterDealerChannel::setWorkerEndPoint);
}

void addStatistics(Operations& all) {
  const State monitored = [](Scene& s) { s.channel->initializeStatsMonitoring(); };
  const auto row = [&](const std::string& name, const State& state, void (TavrikChannel::*member)(),
                       int (*function)(tavrik_channel_t*)) -> Operation& {
    return add(
        all, "statistics: " + name, in(REQ_CLIENT, state), 0,
        [=](Scene& s) {
          (s.channel.get()->*member)();
          return 0;
        },
        [=](Scene& s) { return function(s.channel.get()); });
  };
  row("started", nullptr, &TavrikChannel::initializeStatsMonitoring,
      tavrik_initializeStatsMonitoring);
  row("started twice", monitored, &TavrikChannel::initializeStatsMonitoring,
      tavrik_initializeStatsMonitoring)
      .result = -6;
  row("cleared", monitored, &TavrikChannel::clearTavrikStats, tavrik_clearTavrikStats).hasPoints =
      false;
  row("stopped", monitored, &TavrikChannel::stopStatsMonitoring, tavrik_stopStatsMonitoring)
      .hasPoints = false;
  row("stopped unstarted", nullptr, &TavrikChannel::stopStatsMonitoring, tavrik_stopStatsMonitoring)
      .result = -7;
  const auto read = [](Scene& s) {
    tavrikStatistics values;
    s.channel->getTavrikStats(&values);
    return 0;
  };
  const auto readInC = [](Scene& s) {
    tavrikStatistics values;
    return tavrik_getTavrikStats(s.channel.get(), &values);
  };
  add(all, "statistics: read", in(REQ_CLIENT, monitored), 0, read, readInC).hasPoints = false;
  add(all, "statistics: read unstarted", in(REQ_CLIENT), -8, read, readInC);
}

// Turns a member into an action that returns 0.
template <class Body>
Action zero(Body body) {
  return [=](Scene& s) {
    body(s);
    return 0;
  };
}

void addMessages(Operations& all) {
  const State handled = [](Scene& s) {
    const tavrik::AsyncRouterDealerMsgHandle handle = support::handleOf(longText);
    s.message.setHandle(&handle);
  };
  const auto row = [&](const std::string& name, const Action& inClasses,
                       const Action& inC) -> Operation& {
    Operation& added = add(all, "message: " + name, messages(handled), 0, inClasses, inC);
    return added;
  };
  const char* const text = longText.c_str();
  const auto length = static_cast<unsigned int>(longText.size());
  row("created", zero([](Scene&) { const Message made(2); }), [](Scene&) {
    tavrik_message_t* const made = tavrik_createMessage(2);
    tavrik_deleteMessage(made);
    return made != nullptr ? 0 : -3;
  });
  row("copied", zero([](Scene& s) { const Message copy(s.message); }), [](Scene& s) {
    tavrik_message_t* const copy = tavrik_copyMessage(&s.message, 1);
    if (copy == nullptr) return -3;
    tavrik_deferMsgFree(copy, 1);
    tavrik_deleteMessage(copy);
    return 0;
  });
  row("assigned", zero([](Scene& s) { s.other = s.message; }), nullptr);
  row(
      "resized", [](Scene& s) { return s.message.setnumParts(50); },
      [](Scene& s) { return tavrik_setnumParts(&s.message, 50); });
  row("part read", zero([](Scene& s) { s.message.getPart(0); }), nullptr);
  row("part set", zero([](Scene& s) { s.message.setPart(1, longText); }),
      [=](Scene& s) { return tavrik_setPart(&s.message, 1, text); });
  row("bytes set", nullptr,
      [=](Scene& s) { return tavrik_setBinPart(&s.message, 1, text, length); });
  row(
      "part inserted", [](Scene& s) { return s.message.insertPart(1, longText); },
      [=](Scene& s) { return tavrik_insertPart(&s.message, 1, text); });
  row("bytes inserted", nullptr,
      [=](Scene& s) { return tavrik_insertBinPart(&s.message, 1, text, length); });
  row("handle read", zero([](Scene& s) { tavrik::freeMsgHandle(s.message.getHandle()); }),
      [](Scene& s) {
        const tavrik_msghandle_t* const handle = tavrik_getHandle(&s.message);
        tavrik_freeMsgHandle(handle);
        return handle != nullptr ? 0 : -3;
      });
  const auto handle =
      std::make_shared<tavrik::AsyncRouterDealerMsgHandle>(support::handleOf(longText));
  row("handle set", zero([=](Scene& s) { s.message.setHandle(handle.get()); }),
      [=](Scene& s) { return tavrik_setHandle(&s.message, handle.get()); });
  row("identity read", zero([=](Scene&) { handle->getIdentity(); }), nullptr);
  row("identity set", zero([](Scene&) {
        tavrik::AsyncRouterDealerMsgHandle changed;
        changed.setIdentity(longText);
      }),
      nullptr);
  row("handle cloned", zero([=](Scene&) { tavrik::freeMsgHandle(handle->clone()); }), nullptr);

  // These allocate nothing.
  const auto painless = [&](const std::string& name, const Action& inClasses, const Action& inC) {
    row(name, inClasses, inC).hasPoints = false;
  };
  painless("parts counted", zero([](Scene& s) { s.message.getnumParts(); }),
           zero([](Scene& s) { tavrik_getnumParts(&s.message); }));
  painless("part accessed", zero([](Scene& s) { s.message[0][0] = 'a'; }),
           [](Scene& s) { return tavrik_getPart(&s.message, 0, s.buffer); });
  painless("bytes read", nullptr,
           [](Scene& s) { return tavrik_getBinPart(&s.message, 0, s.buffer); });
  painless("part measured", nullptr, zero([](Scene& s) { tavrik_getPartlength(&s.message, 0); }));
  painless(
      "part removed", [](Scene& s) { return s.message.removePart(0); },
      [](Scene& s) { return tavrik_removePart(&s.message, 0); });
  painless("kept", zero([](Scene& s) { s.message.incrRefCount(); }),
           [](Scene& s) { return tavrik_deferMsgFree(&s.message, 1); });

  // Refusals.
  const auto refused = [&](const std::string& name, int result, const Action& inClasses,
                           const Action& inC) { row(name, inClasses, inC).result = result; };
  refused("no part to read", -5, zero([](Scene& s) { s.message.getPart(9); }), nullptr);
  refused("no part to measure", -34, nullptr,
          [](Scene& s) { return tavrik_getPartlength(&s.message, 9); });
  refused("no text to read", -35, nullptr,
          [](Scene& s) { return tavrik_getPart(&s.message, 9, s.buffer); });
  refused("no bytes to read", -5, nullptr,
          [](Scene& s) { return tavrik_getBinPart(&s.message, 9, s.buffer); });
  refused("no part to set", -5, zero([](Scene& s) { s.message.setPart(9, longText); }),
          [=](Scene& s) { return tavrik_setPart(&s.message, 9, text); });
  refused(
      "no place to insert", -5, [](Scene& s) { return s.message.insertPart(9, longText); },
      [=](Scene& s) { return tavrik_insertPart(&s.message, 9, text); });
  refused(
      "no part to remove", -5, [](Scene& s) { return s.message.removePart(9); },
      [](Scene& s) { return tavrik_removePart(&s.message, 9); });
}

}  // namespace

std::vector<Operation> allOperations() {
  Operations all;
  for (const role_t role : roles) {
    addConnecting(all, role, "", nullptr);
    addConnecting(all, role, ", with every property", withEveryProperty);
    if (role != SUBSCRIBER) addSends(all, role);
    if (role != PUBLISHER) addReceives(all, role);
    addDeletions(all, role);
    addProperties(all, role);
    addRefusals(all, role);
    addCreations(all, role);
  }
  addPublishSubscribeEndpoints(all);
  addTypedSetters(all);
  addStatistics(all);
  addMessages(all);
  return all;
}

}  // namespace points
