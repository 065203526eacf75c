// What the patterns share: construction, the type of service, the endpoint check, polling.
#include <core/error.hpp>
#include <core/limits.hpp>
#include <core/number.hpp>
#include <tavrik/mq_wrapper.hpp>
#include <tavrik/msg_pattern.hpp>

namespace tavrik {

MsgPattern::MsgPattern(const std::string& channelName, role_t channelRole)
    : name(channelName), role(channelRole) {
  logged("Error : Tavrik::MsgPattern::MsgPattern() : ", [&] {
    transport = MQWrapper::getInstance();
    if (transport == nullptr) fail(faults::noTransport);
    if (name.empty()) fail(faults::channelNameEmpty);
  });
}

MsgPattern::~MsgPattern() noexcept(false) {
  if (transport != nullptr && socket != nullptr) transport->deleteEndpt(socket);
}

bool MsgPattern::isValidEndpt(const std::string& endpoint) const {
  return endpoint.find('*') == std::string::npos;
}

int MsgPattern::setTosPropVal(const std::string& value) {
  return logged("Error : Tavrik::MsgPattern::setTosPropVal() : ", [&] {
    constexpr std::uint32_t maximum = 255;
    if (leadingNumber(value) > maximum) fail(faults::invalidTosPriority, value);
    if (socket != nullptr) fail(faults::tosAfterConnecting, value);
    properties[CHANNEL_TOS_PRIORITY] = value;
    return 0;
  });
}

std::string MsgPattern::getTosPropVal() const {
  const auto stored = properties.find(CHANNEL_TOS_PRIORITY);
  return stored != properties.end() ? stored->second : "0";
}

void MsgPattern::setTosSockOption(void* endpointSocket) {
  transport->setOption(endpointSocket, OPT_TOS, getTosPropVal());
}

int pattern_poll(tavrik_pollitem_t* items, unsigned int count, long timeout) {
  if (!isPoll(items, count, timeout)) return -1;
  for (unsigned int i = 0; i < count; ++i) {
    auto* const pattern = static_cast<MsgPattern*>(items[i].socket);
    if (pattern == nullptr) fail(faults::polledPatternNull);
    if (pattern->socket == nullptr) pattern->connectEndpoint();
    items[i].socket = pattern->socket;
  }
  const MQWrapper* const transport = MQWrapper::getInstance();
  if (transport == nullptr) fail(faults::noTransport);
  const int ready = transport->poll(items, count, timeout);
  if (ready == -1) fail(faults::patternPollFailed);
  return ready;
}

}  // namespace tavrik
