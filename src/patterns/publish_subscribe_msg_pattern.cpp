// Publishers and subscribers: what each may set, and filters that follow the live socket.
#include <core/error.hpp>
#include <patterns/high_water_mark.hpp>
#include <tavrik/mq_wrapper.hpp>
#include <tavrik/publish_subscribe_msg_pattern.hpp>

#include <zmq.h>

#include <algorithm>
#include <utility>

namespace tavrik {
namespace {

constexpr HighWaterMarkRule publisherMark{PUBLISHER, faults::publisherMarkRole,
                                          faults::invalidPublisherMark,
                                          faults::markAfterConnecting};
constexpr HighWaterMarkRule subscriberMark{SUBSCRIBER, faults::subscriberMarkRole,
                                           faults::invalidSubscriberMark,
                                           faults::markAfterConnecting};

// Far below the transport's own default: a subscriber that is behind would rather have what is new.
const char* const defaultMark = "10";

// Takes every message.
const char* const catchAll = "";

}  // namespace

PublishSubscribeMsgPattern::PublishSubscribeMsgPattern(const std::string& channelName,
                                                       role_t channelRole)
    : MsgPattern(channelName, channelRole) {
  logged("Error : Tavrik::PublishSubscribeMsgPattern::PublishSubscribeMsgPattern() : ", [&] {
    if (role != PUBLISHER && role != SUBSCRIBER) fail(faults::invalidPublishSubscribeRole);
  });
}

PublishSubscribeMsgPattern::~PublishSubscribeMsgPattern() noexcept(false) = default;

void PublishSubscribeMsgPattern::connectEndpoint() {
  if (socket != nullptr) return;
  // A derived class may have changed the role; another one connects nothing.
  if (role == PUBLISHER) connectPublisher();
  if (role == SUBSCRIBER) connectSubscriber();
}

// In both, the socket is stored before anything else can fail, so that the destructor closes it.

void PublishSubscribeMsgPattern::connectPublisher() {
  socket = transport->createEndpt(ZMQ_PUB);
  setTosSockOption(socket);
  transport->setOption(socket, OPT_SNDHWM, highWaterMark(PUB_SUB_SET_PUB_SNDHWM));
  transport->registerSender(socket, properties[PUB_SUB_PUBLISHER_ENDPOINT]);
}

void PublishSubscribeMsgPattern::connectSubscriber() {
  socket = transport->createEndpt(ZMQ_SUB);
  transport->setOption(socket, OPT_RCVHWM, highWaterMark(PUB_SUB_SET_SUB_RCVHWM));
  if (filters.empty()) transport->setOption(socket, OPT_SUBSCRIBE, catchAll);
  for (const std::string& filter : filters) transport->setOption(socket, OPT_SUBSCRIBE, filter);
  setTosSockOption(socket);
  // Further endpoints are connected as they are added; so is the first one that comes later.
  if (!publisherEndpoints.all().empty()) {
    transport->registerReceiver(socket, publisherEndpoints.all().front());
  }
}

int PublishSubscribeMsgPattern::setProperty(channel_prop_t prop, const std::string& value) {
  return logged("Error : Tavrik::PublishSubscribeMsgPattern::setProperty() : ", [&] {
    switch (prop) {
      case CHANNEL_TOS_PRIORITY:
        return setTosPropVal(value);
      case PUB_SUB_PUBLISHER_ENDPOINT:
        return setEndpoint(value);
      case PUB_SUB_SUBSCRIBE_FILTER:
        if (role == SUBSCRIBER) return addFilter(value);
        break;
      case PUB_SUB_UNSUBSCRIBE_FILTER:
        if (role == SUBSCRIBER) return removeFilter(value);
        break;
      case PUB_SUB_SET_PUB_SNDHWM:
        checkHighWaterMark(publisherMark, role, value, socket != nullptr);
        properties[prop] = value;
        return 0;
      case PUB_SUB_SET_SUB_RCVHWM:
        checkHighWaterMark(subscriberMark, role, value, socket != nullptr);
        properties[prop] = value;
        return 0;
      default:
        break;
    }
    fail(faults::invalidPublishSubscribeProperty, value);
  });
}

// Setting the endpoint is what connects.
int PublishSubscribeMsgPattern::setEndpoint(const std::string& endpoint) {
  if (!isValidEndpt(endpoint)) fail(faults::invalidPublishSubscribeEndpoint, endpoint);
  if (role == PUBLISHER) {
    if (socket != nullptr) {
      const auto stored = properties.find(PUB_SUB_PUBLISHER_ENDPOINT);
      fail(faults::publisherEndpointAlreadySet, stored != properties.end() ? stored->second : "");
    }
    properties[PUB_SUB_PUBLISHER_ENDPOINT] = endpoint;
  } else if (role == SUBSCRIBER) {
    if (publisherEndpoints.contains(endpoint)) {
      fail(faults::subscriberEndpointAlreadySet, endpoint);
    }
    publisherEndpoints.add(endpoint);
  }
  if (socket == nullptr) {
    connectEndpoint();
  } else {
    transport->registerReceiver(socket, endpoint);
  }
  return 0;
}

int PublishSubscribeMsgPattern::addFilter(const std::string& filter) {
  if (std::find(filters.begin(), filters.end(), filter) != filters.end()) {
    fail(faults::filterAlreadyExists);
  }
  // Room first: once the socket takes the filter, the list has to take it too.
  std::string added = filter;
  filters.reserve(filters.size() + 1);
  if (socket != nullptr) {
    if (filters.empty()) transport->setOption(socket, OPT_UNSUBSCRIBE, catchAll);
    transport->setOption(socket, OPT_SUBSCRIBE, filter);
  }
  filters.push_back(std::move(added));
  return 0;
}

// A subscriber that loses its last filter receives everything again.
int PublishSubscribeMsgPattern::removeFilter(const std::string& filter) {
  const auto found = std::find(filters.begin(), filters.end(), filter);
  if (found == filters.end()) fail(faults::filterNotSet);
  filters.erase(found);
  if (socket != nullptr) {
    transport->setOption(socket, OPT_UNSUBSCRIBE, filter);
    if (filters.empty()) transport->setOption(socket, OPT_SUBSCRIBE, catchAll);
  }
  return 0;
}

// The mark as it was set, or the default, which is stored.
const std::string& PublishSubscribeMsgPattern::highWaterMark(channel_prop_t prop) {
  return properties.emplace(prop, defaultMark).first->second;
}

std::string PublishSubscribeMsgPattern::getProperty(channel_prop_t prop) {
  return logged(
      "Error : Tavrik::PublishSubscribeMsgPattern::getProperty() : ", [&]() -> std::string {
        switch (prop) {
          case CHANNEL_TOS_PRIORITY:
            return getTosPropVal();
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
        fail(faults::invalidPublishSubscribeQuery);
      });
}

int PublishSubscribeMsgPattern::send(Message* msg) {
  return logged("Error : Tavrik::PublishSubscribeMsgPattern::send() : ", [&] {
    if (role == SUBSCRIBER) fail(faults::sendBySubscriber);
    connectEndpoint();
    return transport->send(socket, msg);
  });
}

int PublishSubscribeMsgPattern::receive(Message* msg, long timeout) {
  // The blank behind the first colons is part of the prefix that log filters look for.
  return logged("Error : Tavrik:: PublishSubscribeMsgPattern::receive() : ", [&] {
    if (role == PUBLISHER) fail(faults::receiveByPublisher);
    connectEndpoint();
    return transport->receive(socket, msg, timeout);
  });
}

}  // namespace tavrik
