// Property numbers, values and orders against the rules of each pattern and role, on one channel.
#include "support.hpp"

#include <zmq.h>

#include <algorithm>
#include <array>
#include <climits>
#include <cstdlib>
#include <map>

namespace {

using fuzz::Input;

// What a call returns, and for a failure of the library the text without marker and code.
struct Outcome {
  int code = 0;
  std::string text;
  bool logged = true;
};

const Outcome success{};
const Outcome returned(int code) {
  return {code, "", false};
}

// A property whose value is a number. The checks come in this order: role, value, connected.
struct NumberRule {
  unsigned int prop;
  std::optional<role_t> role;  // every role if there is none
  std::uint32_t least;
  std::uint32_t most;
  int wrongRole;
  int badValue;
  int connected;
  const char* name;
  const char* unset;  // what it reads before it is set
};

constexpr std::uint32_t oneHour = 3600000;

const NumberRule numberRules[] = {
    {CHANNEL_TOS_PRIORITY, {}, 0, 255, 0, -9, -11, "CHANNEL_TOS_PRIORITY", "0"},
    {CHANNEL_HEARTBEAT, {}, 0, oneHour, 0, -43, -44, "CHANNEL_HEARTBEAT", "0"},
    {CHANNEL_MAX_MESSAGE_SIZE, {}, 0, INT_MAX, 0, -43, -44, "CHANNEL_MAX_MESSAGE_SIZE", "0"},
    {CHANNEL_LINGER, {}, 0, oneHour, 0, -43, -44, "CHANNEL_LINGER", "0"},
    {PUB_SUB_SET_PUB_SNDHWM, PUBLISHER, 1, 1000, -15, -39, -41, "PUB_SUB_SET_PUB_SNDHWM", ""},
    {PUB_SUB_SET_SUB_RCVHWM, SUBSCRIBER, 1, 1000, -15, -40, -41, "PUB_SUB_SET_SUB_RCVHWM", ""},
    {ASYNC_DEALER_CLIENT_SNDHWM, ASYNC_DEALER_CLIENT, 1, 1000, -23, -24, -25,
     "ASYNC_DEALER_CLIENT_SNDHWM", "1000"},
};

pattern_t patternOf(role_t role) {
  return static_cast<pattern_t>(role / 2);
}

bool isOf(const NumberRule& rule, role_t role) {
  return !rule.role || patternOf(*rule.role) == patternOf(role);
}

const NumberRule* ruleOf(unsigned int prop, role_t role) {
  for (const NumberRule& rule : numberRules) {
    if (rule.prop == prop && isOf(rule, role)) return &rule;
  }
  return nullptr;
}

// The codes that differ between the patterns.
struct PatternCodes {
  int invalidProperty;
  int invalidEndpoint;
};
constexpr PatternCodes codes[] = {{-14, -13}, {-19, -16}, {-27, -26}};

// Endpoints that something is bound to as long as the process runs.
constexpr const char* boundEndpoints[] = {"inproc://bound-0", "inproc://bound-1",
                                          "inproc://bound-2"};
constexpr const char* proxyName = "proxy";
constexpr const char* workerEndpoint = "inproc://proxy-back";

class Model {
 public:
  explicit Model(role_t itsRole) : role(itsRole) {}

  Outcome set(unsigned int prop, const std::string& value) {
    constexpr std::size_t longest = 255;
    if (value.size() > longest) return returned(-1);
    if (const NumberRule* const rule = ruleOf(prop, role)) return setNumber(*rule, value);
    switch (patternOf(role)) {
      case REQUEST_REPLY_PATTERN:
        return setRequestReply(prop, value);
      case PUBLISH_SUBSCRIBE_PATTERN:
        return setPublishSubscribe(prop, value);
      default:
        return setRouterDealer(prop, value);
    }
  }

  // What getProperty() gives, or nothing if the property cannot be read.
  std::optional<std::string> get(unsigned int prop) {
    if (const NumberRule* const rule = ruleOf(prop, role)) {
      if (rule->role && *rule->role != role) return std::nullopt;
      const auto stored = values.find(prop);
      if (stored != values.end()) return stored->second;
      // Reading a mark of publish/subscribe stores the empty text. Connecting then stores no
      // default.
      if (patternOf(role) == PUBLISH_SUBSCRIBE_PATTERN && rule->role) values[prop] = rule->unset;
      return rule->unset;
    }
    if (prop == endpointProperty()) {
      return role == SUBSCRIBER ? (list.empty() ? "" : list.front()) : values[prop];
    }
    if (prop == cursorProperty()) return next();
    return std::nullopt;
  }

  // What the first use of the channel gives.
  Outcome connect() {
    if (connected) return success;
    connected = true;
    if (role == PUBLISHER) values.emplace(PUB_SUB_SET_PUB_SNDHWM, "10");
    if (role == SUBSCRIBER) {
      values.emplace(PUB_SUB_SET_SUB_RCVHWM, "10");
      return list.empty() ? success : transport(list.front());
    }
    return transport(values[endpointProperty()]);
  }

  int invalidProperty() const { return codes[patternOf(role)].invalidProperty; }
  bool isConnected() const { return connected; }

 private:
  // The endpoint that the role's own socket uses, and that can be read.
  unsigned int endpointProperty() const {
    switch (role) {
      case REQ_CLIENT:
      case REP_SERVER:
        return REQ_REP_SERVER_ENDPOINT;
      case PUBLISHER:
      case SUBSCRIBER:
        return PUB_SUB_PUBLISHER_ENDPOINT;
      case ASYNC_DEALER_CLIENT:
        return ASYNC_DEALER_CLIENT_ENDPOINT;
      default:
        return ASYNC_DEALER_WORKER_ENDPOINT;
    }
  }

  std::optional<unsigned int> cursorProperty() const {
    switch (role) {
      case SUBSCRIBER:
        return PUB_SUB_NEXT_PUBLISHER_ENDPOINT;
      case ASYNC_DEALER_WORKER:
        return ASYNC_DEALER_NEXT_CLIENT_ENDPOINT;
      default:
        return std::nullopt;
    }
  }

  std::string next() {
    if (cursor < list.size()) return list[cursor++];
    cursor = 0;
    return "";
  }

  Outcome setNumber(const NumberRule& rule, const std::string& value) {
    if (rule.role && *rule.role != role) {
      return {rule.wrongRole, std::string("Invalid role with prop ") + rule.name + ": " + value};
    }
    constexpr int decimal = 10;
    const auto number = static_cast<std::uint32_t>(std::strtoll(value.c_str(), nullptr, decimal));
    if (number < rule.least || number > rule.most) {
      return {rule.badValue, std::string("Invalid value for prop ") + rule.name + ": " + value};
    }
    if (connected) return {rule.connected, "channel is already connected" + value};
    values[rule.prop] = value;
    return success;
  }

  Outcome setRequestReply(unsigned int prop, const std::string& value) {
    if (connected) return returned(-1);
    if (prop != REQ_REP_SERVER_ENDPOINT) return notSettable(value);
    if (hasStar(value)) return badEndpoint(value);
    values[prop] = value;
    return success;
  }

  Outcome setPublishSubscribe(unsigned int prop, const std::string& value) {
    if (prop == PUB_SUB_PUBLISHER_ENDPOINT) return setPublisherEndpoint(value);
    const auto filter = std::find(filters.begin(), filters.end(), value);
    if (prop == PUB_SUB_SUBSCRIBE_FILTER && role == SUBSCRIBER) {
      if (filter != filters.end()) return {-17, "Filter already exists"};
      filters.push_back(value);
      return success;
    }
    if (prop == PUB_SUB_UNSUBSCRIBE_FILTER && role == SUBSCRIBER) {
      if (filter == filters.end()) return {-18, "Cannot remove unset filter"};
      filters.erase(filter);
      return success;
    }
    return notSettable(value);
  }

  Outcome setPublisherEndpoint(const std::string& value) {
    if (hasStar(value)) return badEndpoint(value);
    if (role == PUBLISHER) {
      const std::string& stored = values[PUB_SUB_PUBLISHER_ENDPOINT];
      if (connected) return {-15, "Publisher Endpoint already set : " + stored};
      values[PUB_SUB_PUBLISHER_ENDPOINT] = value;
      return connect();
    }
    if (contains(list, value)) return {-38, "Subscriber Endpoint already set : " + value};
    list.push_back(value);
    return connected ? transport(value) : connect();
  }

  Outcome setRouterDealer(unsigned int prop, const std::string& value) {
    if (connected) return returned(-32);
    const bool worker = role == ASYNC_DEALER_WORKER;
    if (prop != ASYNC_DEALER_CLIENT_ENDPOINT && !(prop == ASYNC_DEALER_WORKER_ENDPOINT && worker)) {
      return notSettable(value);
    }
    if (hasStar(value)) return badEndpoint(value);
    if (prop == ASYNC_DEALER_CLIENT_ENDPOINT && worker) {
      if (contains(list, value)) return {-42, "Dealer Endpoint already set : " + value};
      list.push_back(value);
      return success;
    }
    values[prop] = value;
    return success;
  }

  Outcome notSettable(const std::string& value) const {
    return {invalidProperty(), "Invalid property - cannot be set : " + value};
  }
  Outcome badEndpoint(const std::string& value) const {
    return {codes[patternOf(role)].invalidEndpoint, "Invalid Endpoint : " + value};
  }

  // What binding or connecting gives for the endpoints that the inputs can contain.
  Outcome transport(const std::string& endpoint) const {
    const int site = role == REP_SERVER || role == PUBLISHER ? 0x1090000 : 0x10a0000;
    const std::string inproc = "inproc://";
    if (endpoint.compare(0, inproc.size(), inproc) == 0 && endpoint != inproc) return success;
    const bool unknown = endpoint.compare(0, 6, "foo://") == 0;
    return {-(site | (unknown ? EPROTONOSUPPORT : EINVAL)), ""};
  }

  static bool hasStar(const std::string& text) { return text.find('*') != std::string::npos; }
  static bool contains(const std::vector<std::string>& all, const std::string& text) {
    return std::find(all.begin(), all.end(), text) != all.end();
  }

  role_t role;
  bool connected = false;
  std::map<unsigned int, std::string> values;
  std::vector<std::string> list;
  std::size_t cursor = 0;
  std::vector<std::string> filters;
};

// What the channels connect to. Each peer has to handle a connection that ends before the other
// side's socket is released.
class Bound {
 public:
  Bound() {
    for (std::size_t i = 0; i < peers.size(); ++i) peers[i].bind(boundEndpoints[i]);
    worker = tavrik_createChannel(proxyName, ASYNC_ROUTER_DEALER_PATTERN, ASYNC_DEALER_WORKER);
    tavrik_setProperty(worker, ASYNC_DEALER_CLIENT_ENDPOINT, "inproc://proxy-front");
    tavrik_setProperty(worker, ASYNC_DEALER_WORKER_ENDPOINT, workerEndpoint);
    tavrik_message_t* const message = tavrik_createMessage(0);
    char subject[SUBJECT_BUFFER_SIZE];
    fuzz::requireEqual(0, tavrik_receivemsg(worker, subject, message, 1), "starting the proxy");
    tavrik_deleteMessage(message);
  }

  void handleEnds() {
    for (fuzz::Peer& peer : peers) {
      while (peer.receive().has_value()) {
      }
    }
  }

 private:
  std::array<fuzz::Peer, 3> peers{fuzz::Peer(ZMQ_ROUTER), fuzz::Peer(ZMQ_ROUTER),
                                  fuzz::Peer(ZMQ_ROUTER)};
  tavrik_channel_t* worker;
};

Bound& bound() {
  static auto* const instance = new Bound;  // lives until the process ends, as the proxy does
  return *instance;
}

// Cannot be mistaken for an endpoint with a transport.
std::string harmless(std::string text) {
  std::replace(text.begin(), text.end(), ':', ';');
  return text;
}

class Run {
 public:
  explicit Run(Input& itsInput)
      : input(itsInput),
        role(static_cast<role_t>(input.between<unsigned int>(REQ_CLIENT, ASYNC_DEALER_WORKER))),
        model(role),
        channel(tavrik_createChannel(proxyName, patternOf(role), role)) {
    fuzz::require(channel != nullptr, "tavrik_createChannel");
  }
  ~Run() {
    const bool lingers = model.get(CHANNEL_LINGER) != "0";
    tavrik_deleteChannel(channel);
    // A linger may run out with nothing left to send: ZeroMQ destroys sockets in a thread of its
    // own.
    if (lingers) static_cast<void>(fuzz::takeLog());
    fuzz::requireNoLog("tavrik_deleteChannel");
  }
  Run(const Run&) = delete;
  Run& operator=(const Run&) = delete;

  void step() {
    switch (input.between(0, 7)) {
      case 0:
        connect();
        break;
      case 1:
      case 2:
        get();
        break;
      default:
        set();
    }
  }

  void getAll() {
    for (unsigned int prop = 0; prop < 12; ++prop) get(prop);
  }

 private:
  unsigned int property() {
    constexpr unsigned int known[] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 4096, 4097, 4098};
    constexpr unsigned int unknown[] = {12, 13, 255, 4095, 4099, 4111, 1U << 16U, UINT_MAX};
    return input.between(0, 9) == 0 ? input.oneOf(unknown) : input.oneOf(known);
  }

  std::string endpoint() {
    constexpr const char* malformed[] = {"",          "abc",          "foo://bar",
                                         "inproc://", "tcp://*:5555", "inproc://*"};
    if (input.between(0, 3) == 0) return input.oneOf(malformed);
    const bool binds = role == REP_SERVER || role == PUBLISHER;
    if (binds) return input.flag() ? ownEndpoint : ownEndpoint + "-other";
    if (role == ASYNC_DEALER_WORKER && input.flag()) return workerEndpoint;
    return input.oneOf(boundEndpoints);
  }

  std::string number() {
    constexpr const char* edges[] = {"-1",          "0",
                                     "1",           "10",
                                     "255",         "256",
                                     "1000",        "1001",
                                     "3600000",     "3600001",
                                     "2147483647",  "2147483648",
                                     "4294967295",  "4294967296",
                                     "4294967297",  "9223372036854775807",
                                     "-0",          "99999999999999999999",
                                     "-4294967295", "-99999999999999999999"};
    constexpr const char* prefixes[] = {"", "", "", " ", "\t\n", "+", "-", "x", "00"};
    std::string digits;
    if (input.flag()) {
      digits = input.oneOf(edges);
    } else if (input.flag()) {
      digits = std::to_string(input.between(-5, 1100));
    } else {
      digits = std::to_string(input.any<std::int64_t>());
    }
    const std::string suffix = input.between(0, 4) == 0 ? harmless(input.text(8)) : "";
    return input.oneOf(prefixes) + digits + suffix;
  }

  std::string value() {
    switch (input.between(0, 4)) {
      case 0:
        return harmless(input.textAroundLimit());
      case 1:
        return harmless(input.text(2));  // filters meet again
      case 2:
        return number();
      default:
        return endpoint();
    }
  }

  // Numbers meet numeric properties, mostly.
  void set() {
    const unsigned int prop = property();
    const std::string text = ruleOf(prop, role) != nullptr && input.flag() ? number() : value();
    const std::string call = "setProperty " + std::to_string(prop) + " of role " +
                             std::to_string(role) + " to \"" + text + "\"";
    const bool wasConnected = model.isConnected();
    const Outcome expected = model.set(prop, text);
    const auto setIt = [&] {
      return tavrik_setProperty(channel, static_cast<channel_prop_t>(prop), text.c_str());
    };
    if (!wasConnected && model.isConnected()) {
      // Setting a publisher's endpoint connects. A subscriber counts the endpoint as set even if
      // there is no socket left, so make sure of one.
      fuzz::withSockets([] { return probeSocket(); });
    }
    fuzz::requireEqual(expected.code, setIt(), call);
    requireLog("tavrik_setProperty", expected, call);
  }

  static int probeSocket() {
    fuzz::Peer probe(ZMQ_PAIR);
    return 0;
  }

  void requireLog(const std::string& function, const Outcome& expected, const std::string& call) {
    if (expected.code == 0 || !expected.logged) {
      fuzz::requireNoLog(call);
    } else if (expected.text.empty()) {
      fuzz::takeLog();  // the text of a transport's failure depends on the system
    } else {
      const std::string line = "Error : " + function + "() : " + expected.text +
                               "tavrik:" + std::to_string(expected.code);
      fuzz::requireLastLog(TAVRIK_LOG_DEBUG, line, call);
    }
  }

  void get() { get(property()); }

  void get(unsigned int prop) {
    const std::string call =
        "getProperty " + std::to_string(prop) + " of role " + std::to_string(role);
    char text[PROPERTY_BUFFER_SIZE];
    const auto expected = model.get(prop);
    const int result = tavrik_getProperty(channel, static_cast<channel_prop_t>(prop), text);
    Outcome outcome;
    if (expected) {
      fuzz::requireEqual(0, result, call);
      fuzz::requireEqual(*expected, text, call);
    } else {
      outcome = {model.invalidProperty(), "Invalid property queried"};
      fuzz::requireEqual(outcome.code, result, call);
    }
    requireLog("tavrik_getProperty", outcome, call);
  }

  // Uses the channel without a message that could wait for a peer.
  void connect() {
    const Outcome expected = model.connect();
    const int result = fuzz::withSockets([&] {
      if (role == PUBLISHER) return tavrik_send(channel, "", 0);
      tavrik_pollitem_t item = {channel, TAVRIK_POLLIN, 0};
      return tavrik_poll(&item, 1, 0);
    });
    fuzz::requireEqual(expected.code, result, "connecting role " + std::to_string(role));
    fuzz::takeLog();
  }

  Input& input;
  std::string ownEndpoint = "inproc://" + fuzz::uniqueName();
  role_t role;
  Model model;
  tavrik_channel_t* channel;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  bound().handleEnds();
  Input input(data, size);
  Run run(input);
  while (!input.empty()) run.step();
  run.getAll();
  return 0;
}
