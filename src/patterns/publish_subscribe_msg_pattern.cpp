// Publishers and subscribers: their properties, and filters that may change on a live socket.
#include <core/failure.hpp>
#include <patterns/high_water_mark.hpp>
#include <tavrik/mq_wrapper.hpp>
#include <tavrik/publish_subscribe_msg_pattern.hpp>

#include <zmq.h>

#include <algorithm>
#include <exception>
#include <utility>

namespace tavrik {
namespace {

constexpr HighWaterMarkRule publisherHighWaterMark{PUBLISHER, failures::publisherHighWaterMarkRole,
                                                   failures::invalidPublisherHighWaterMark,
                                                   failures::highWaterMarkAfterConnecting};
constexpr HighWaterMarkRule subscriberHighWaterMark{
    SUBSCRIBER, failures::subscriberHighWaterMarkRole, failures::invalidSubscriberHighWaterMark,
    failures::highWaterMarkAfterConnecting};

// Far below ZeroMQ's default of 1000: a slow subscriber misses messages instead of receiving old
// ones late.
const char* const defaultHighWaterMark = "10";

// The filter that matches every message.
const char* const catchAll = "";

}  // namespace

PublishSubscribeMsgPattern::PublishSubscribeMsgPattern(const std::string& channelName,
                                                       role_t channelRole)
    : MsgPattern(channelName, channelRole) {
  logged("Error : Tavrik::PublishSubscribeMsgPattern::PublishSubscribeMsgPattern() : ", [&] {
    if (role != PUBLISHER && role != SUBSCRIBER) fail(failures::invalidPublishSubscribeRole);
  });
}

PublishSubscribeMsgPattern::~PublishSubscribeMsgPattern() noexcept(false) = default;

void PublishSubscribeMsgPattern::connectEndpoint() {
  if (socket != nullptr) return;
  // A derived class may have changed the role. Any other role connects nothing.
  if (role == PUBLISHER) connectPublisher();
  if (role == SUBSCRIBER) connectSubscriber();
}

// Both functions store the socket before anything else can fail: the destructor then closes it.

void PublishSubscribeMsgPattern::connectPublisher() {
  socket = transport->createEndpt(ZMQ_PUB);
  setTosSockOption(socket);
  applyCommonProperties(socket);
  transport->setOption(socket, OPT_SNDHWM, highWaterMark(PUB_SUB_SET_PUB_SNDHWM));
  transport->registerSender(socket, properties[PUB_SUB_PUBLISHER_ENDPOINT]);
}

void PublishSubscribeMsgPattern::connectSubscriber() {
  socket = transport->createEndpt(ZMQ_SUB);
  transport->setOption(socket, OPT_RCVHWM, highWaterMark(PUB_SUB_SET_SUB_RCVHWM));
  if (filters.empty()) transport->setOption(socket, OPT_SUBSCRIBE, catchAll);
  for (const std::string& filter : filters) transport->setOption(socket, OPT_SUBSCRIBE, filter);
  setTosSockOption(socket);
  applyCommonProperties(socket);
  // setEndpoint() connects every endpoint that is added later.
  if (!publisherEndpoints.all().empty()) {
    transport->registerReceiver(socket, publisherEndpoints.all().front());
  }
}

int PublishSubscribeMsgPattern::setProperty(channel_prop_t prop, const std::string& value) {
  return logged("Error : Tavrik::PublishSubscribeMsgPattern::setProperty() : ", [&] {
    if (isCommonProperty(prop)) return setCommonProperty(prop, value);
    switch (prop) {
      case PUB_SUB_PUBLISHER_ENDPOINT:
        return setEndpoint(value);
      case PUB_SUB_SUBSCRIBE_FILTER:
        if (role == SUBSCRIBER) return addFilter(value);
        break;
      case PUB_SUB_UNSUBSCRIBE_FILTER:
        if (role == SUBSCRIBER) return removeFilter(value);
        break;
      case PUB_SUB_SET_PUB_SNDHWM:
        checkHighWaterMark(publisherHighWaterMark, role, value, socket != nullptr);
        properties.insert_or_assign(prop, value);
        return 0;
      case PUB_SUB_SET_SUB_RCVHWM:
        checkHighWaterMark(subscriberHighWaterMark, role, value, socket != nullptr);
        properties.insert_or_assign(prop, value);
        return 0;
      default:
        break;
    }
    fail(failures::invalidPublishSubscribeProperty, value);
  });
}

// Setting an endpoint connects the channel.
int PublishSubscribeMsgPattern::setEndpoint(const std::string& endpoint) {
  if (!isValidEndpt(endpoint)) fail(failures::invalidPublishSubscribeEndpoint, endpoint);
  if (role == PUBLISHER && socket != nullptr) {
    const auto stored = properties.find(PUB_SUB_PUBLISHER_ENDPOINT);
    fail(failures::publisherEndpointAlreadySet, stored != properties.end() ? stored->second : "");
  }
  if (role == SUBSCRIBER && publisherEndpoints.contains(endpoint)) {
    fail(failures::subscriberEndpointAlreadySet, endpoint);
  }
  if (socket != nullptr) {
    if (role == SUBSCRIBER) publisherEndpoints.add(endpoint);
    transport->registerReceiver(socket, endpoint);
  } else {
    connectFirst(endpoint);
  }
  return 0;
}

void PublishSubscribeMsgPattern::connectFirst(const std::string& endpoint) {
  if (role != PUBLISHER && role != SUBSCRIBER) return connectEndpoint();
  // Store what connecting stores before the endpoint: a channel that has stored its endpoint does
  // not run out of memory before it is connected.
  const channel_prop_t markProperty =
      role == PUBLISHER ? PUB_SUB_SET_PUB_SNDHWM : PUB_SUB_SET_SUB_RCVHWM;
  const bool isDefault = properties.emplace(markProperty, defaultHighWaterMark).second;
  try {
    if (role == PUBLISHER) properties.insert_or_assign(PUB_SUB_PUBLISHER_ENDPOINT, endpoint);
    if (role == SUBSCRIBER) publisherEndpoints.add(endpoint);
    connectEndpoint();
  } catch (const std::exception&) {
    if (isDefault && socket == nullptr) properties.erase(markProperty);
    throw;
  }
}

int PublishSubscribeMsgPattern::addFilter(const std::string& filter) {
  if (std::find(filters.begin(), filters.end(), filter) != filters.end()) {
    fail(failures::filterAlreadyExists);
  }
  // Allocate before changing the socket: the list must be able to take a filter that the socket
  // has.
  std::string added = filter;
  filters.reserve(filters.size() + 1);
  if (socket != nullptr) {
    if (filters.empty()) transport->setOption(socket, OPT_UNSUBSCRIBE, catchAll);
    transport->setOption(socket, OPT_SUBSCRIBE, filter);
  }
  filters.push_back(std::move(added));
  return 0;
}

// A subscriber without filters receives every message again.
int PublishSubscribeMsgPattern::removeFilter(const std::string& filter) {
  const auto found = std::find(filters.begin(), filters.end(), filter);
  if (found == filters.end()) fail(failures::filterNotSet);
  filters.erase(found);
  if (socket != nullptr) {
    transport->setOption(socket, OPT_UNSUBSCRIBE, filter);
    if (filters.empty()) transport->setOption(socket, OPT_SUBSCRIBE, catchAll);
  }
  return 0;
}

// Returns the stored high-water mark. Stores the default if there is none.
const std::string& PublishSubscribeMsgPattern::highWaterMark(channel_prop_t prop) {
  return properties.emplace(prop, defaultHighWaterMark).first->second;
}

std::string PublishSubscribeMsgPattern::getProperty(channel_prop_t prop) {
  return logged(
      "Error : Tavrik::PublishSubscribeMsgPattern::getProperty() : ", [&]() -> std::string {
        if (isCommonProperty(prop)) return getCommonProperty(prop);
        switch (prop) {
          case PUB_SUB_PUBLISHER_ENDPOINT:
            if (role == PUBLISHER) return properties[prop];
            if (role != SUBSCRIBER) break;
            return publisherEndpoints.all().empty() ? "" : publisherEndpoints.all().front();
          case PUB_SUB_NEXT_PUBLISHER_ENDPOINT:
            if (role == SUBSCRIBER) return publisherEndpoints.next();
            break;
          case PUB_SUB_SET_PUB_SNDHWM:
            if (role == PUBLISHER) return properties[prop];
            break;
          case PUB_SUB_SET_SUB_RCVHWM:
            if (role == SUBSCRIBER) return properties[prop];
            break;
          default:
            break;
        }
        fail(failures::invalidPublishSubscribeQuery);
      });
}

int PublishSubscribeMsgPattern::send(Message* msg) {
  return logged("Error : Tavrik::PublishSubscribeMsgPattern::send() : ", [&] {
    if (role == SUBSCRIBER) fail(failures::sendBySubscriber);
    connectIfNeeded();
    return transport->send(socket, msg);
  });
}

int PublishSubscribeMsgPattern::receive(Message* msg, long timeout) {
  // Required text, do not correct: the blank after the first double colon.
  return logged("Error : Tavrik:: PublishSubscribeMsgPattern::receive() : ", [&] {
    if (role == PUBLISHER) fail(failures::receiveByPublisher);
    connectIfNeeded();
    return receiveMessage(msg, timeout);
  });
}

}  // namespace tavrik
