// What all patterns share: construction, type of service, endpoint check, polling.
#include <core/failure.hpp>
#include <core/limits.hpp>
#include <core/log_line.hpp>
#include <core/number.hpp>
#include <tavrik/message.hpp>
#include <tavrik/mq_wrapper.hpp>
#include <tavrik/msg_pattern.hpp>
#include <transport/transport_error.hpp>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <stdexcept>
#include <string>

namespace tavrik {

// A property whose value is a number from 0 to a maximum, set before connecting.
struct NumberRule {
  channel_prop_t prop;
  std::uint32_t maximum;
  LogicFailure badValue;
  LogicFailure afterConnecting;
};

namespace {

constexpr NumberRule typeOfService{CHANNEL_TOS_PRIORITY, 255, failures::invalidTosPriority,
                                   failures::tosAfterConnecting};

// A property of every pattern that is off unless it is set.
struct ChannelProperty {
  NumberRule rule;
  // Sets the socket's options before it is bound or connected. Null if there are none.
  void (*apply)(const MQWrapper& transport, void* socket, std::uint32_t number);
};

// A peer is given up when three heartbeats are lost. A new connection is given up as early: TCP
// repeats a lost packet at intervals that double, and ZeroMQ waits 30 seconds for the handshake,
// which takes several round trips.
void applyHeartbeat(const MQWrapper& transport, void* socket, std::uint32_t interval) {
  constexpr std::uint32_t defaultHandshake = 30000;
  const auto set = [&](option_t option, std::uint32_t milliseconds) {
    transport.setOption(socket, option, std::to_string(milliseconds));
  };
  set(OPT_HEARTBEAT_INTERVAL, interval);
  set(OPT_HEARTBEAT_TIMEOUT, 3 * interval);
  set(OPT_CONNECT_TIMEOUT, 3 * interval);
  set(OPT_HANDSHAKE_TIMEOUT, std::min(10 * interval, defaultHandshake));
}

void applyMaxMessageSize(const MQWrapper& transport, void* socket, std::uint32_t size) {
  transport.setOption(socket, OPT_MAX_MESSAGE_SIZE, std::to_string(size));
}

constexpr std::uint32_t oneHour = 3600000;  // milliseconds

constexpr ChannelProperty channelProperties[] = {
    {{CHANNEL_HEARTBEAT, oneHour, failures::invalidHeartbeat,
      failures::channelPropertyAfterConnecting},
     applyHeartbeat},
    {{CHANNEL_MAX_MESSAGE_SIZE, INT32_MAX, failures::invalidMaxMessageSize,
      failures::channelPropertyAfterConnecting},
     applyMaxMessageSize},
    // The destructor reads it.
    {{CHANNEL_LINGER, oneHour, failures::invalidLinger, failures::channelPropertyAfterConnecting},
     nullptr},
};

const ChannelProperty* findChannelProperty(channel_prop_t prop) {
  for (const ChannelProperty& property : channelProperties) {
    if (property.rule.prop == prop) return &property;
  }
  return nullptr;
}

}  // namespace

MsgPattern::MsgPattern(const std::string& channelName, role_t channelRole)
    : name(channelName), role(channelRole) {
  logged("Error : Tavrik::MsgPattern::MsgPattern() : ", [&] {
    transport = MQWrapper::getInstance();
    if (transport == nullptr) fail(failures::noTransport);
    if (name.empty()) fail(failures::channelNameEmpty);
  });
}

MsgPattern::~MsgPattern() noexcept(false) {
  if (transport == nullptr || socket == nullptr) return;
  // A subscriber sends no messages, only subscriptions, which nobody needs any more.
  const int linger = role == SUBSCRIBER ? 0 : static_cast<int>(commonNumber(CHANNEL_LINGER));
  if (linger == 0) {
    transport->deleteEndpt(socket);
  } else if (!transport->deleteEndptAfter(socket, linger)) {
    logLine(TAVRIK_LOG_INFO,
            "Info : CHANNEL_LINGER ended before every message was sent on channel ", name.c_str());
  }
}

bool MsgPattern::isValidEndpt(const std::string& endpoint) const {
  return endpoint.find('*') == std::string::npos;
}

int MsgPattern::setTosPropVal(const std::string& value) {
  return logged("Error : Tavrik::MsgPattern::setTosPropVal() : ",
                [&] { return setNumber(typeOfService, value); });
}

std::string MsgPattern::getTosPropVal() const {
  return getCommonProperty(CHANNEL_TOS_PRIORITY);
}

// The order of the checks is required: value, then connected.
int MsgPattern::setNumber(const NumberRule& rule, const std::string& value) {
  if (leadingNumber(value) > rule.maximum) fail(rule.badValue, value);
  if (socket != nullptr) fail(rule.afterConnecting, value);
  properties.insert_or_assign(rule.prop, value);
  return 0;
}

bool MsgPattern::isCommonProperty(channel_prop_t prop) {
  return prop == CHANNEL_TOS_PRIORITY || findChannelProperty(prop) != nullptr;
}

int MsgPattern::setCommonProperty(channel_prop_t prop, const std::string& value) {
  if (prop == CHANNEL_TOS_PRIORITY) return setTosPropVal(value);
  return logged("Error : Tavrik::MsgPattern::setCommonProperty() : ",
                [&] { return setNumber(findChannelProperty(prop)->rule, value); });
}

std::string MsgPattern::getCommonProperty(channel_prop_t prop) const {
  const auto stored = properties.find(prop);
  return stored != properties.end() ? stored->second : "0";
}

std::uint32_t MsgPattern::commonNumber(channel_prop_t prop) const {
  const auto stored = properties.find(prop);
  return stored != properties.end() ? leadingNumber(stored->second) : 0;
}

void MsgPattern::applyCommonProperties(void* endpointSocket) {
  for (const ChannelProperty& property : channelProperties) {
    const std::uint32_t number = commonNumber(property.rule.prop);
    if (number != 0 && property.apply != nullptr)
      property.apply(*transport, endpointSocket, number);
  }
}

int MsgPattern::receiveMessage(Message* msg, long timeout) {
  if (insideMessage && msg != nullptr && isValidTimeout(timeout)) {
    using namespace std::chrono;
    const auto start = steady_clock::now();
    discardTornMessage();
    const auto spent = duration_cast<milliseconds>(steady_clock::now() - start).count();
    if (timeout > 0) timeout = static_cast<long>(std::max<std::int64_t>(timeout - spent, 0));
  }
  return transport->receive(socket, msg, timeout, insideMessage);
}

// Removes what a failed receive has left of its message in the socket. A server owes the client a
// reply before its socket can receive again: it sends one empty frame.
void MsgPattern::discardTornMessage() {
  transport->discardRest(socket);
  if (role == REP_SERVER) {
    Message empty(1);
    try {
      transport->send(socket, &empty);
    } catch (const std::runtime_error& failure) {
      // The reply has been sent if only closing its frame failed. A second one would be refused.
      constexpr int siteBits = 0x1ff0000;
      if ((-statusCode(failure.what()) & siteBits) == sites::closeFrame.code) insideMessage = false;
      throw;
    }
  }
  insideMessage = false;
}

void MsgPattern::setTosSockOption(void* endpointSocket) {
  // Pass the stored text without copying it: connecting must not run out of memory after it has
  // created the socket.
  static const std::string unset = "0";
  const auto stored = properties.find(CHANNEL_TOS_PRIORITY);
  transport->setOption(endpointSocket, OPT_TOS,
                       stored != properties.end() ? stored->second : unset);
}

int pattern_poll(tavrik_pollitem_t* items, unsigned int count, long timeout) {
  if (!isValidPoll(items, count, timeout)) return -1;
  for (unsigned int i = 0; i < count; ++i) {
    auto* const pattern = static_cast<MsgPattern*>(items[i].socket);
    if (pattern == nullptr) fail(failures::polledPatternNull);
    pattern->connectIfNeeded();
    // Discard the rest of a torn message: it is not a message. A server that owes a reply never
    // becomes readable.
    if (pattern->insideMessage && (items[i].events & TAVRIK_POLLIN) != 0) {
      pattern->discardTornMessage();
    }
    items[i].socket = pattern->socket;
  }
  const MQWrapper* const transport = MQWrapper::getInstance();
  if (transport == nullptr) fail(failures::noTransport);
  const int ready = transport->poll(items, count, timeout);
  if (ready == -1) fail(failures::patternPollFailed);
  return ready;
}

}  // namespace tavrik
