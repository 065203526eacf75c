// Members that set one property each.
#include <tavrik/typed_channels.hpp>

#include <utility>

namespace tavrik {

RequestReplyChannel::RequestReplyChannel(std::string channelName, role_t channelRole)
    : TavrikChannel(std::move(channelName), REQUEST_REPLY_PATTERN, channelRole) {}

RequestReplyChannel::~RequestReplyChannel() = default;

int RequestReplyChannel::setServerEndPoint(std::string endpoint) {
  return setProperty(REQ_REP_SERVER_ENDPOINT, std::move(endpoint));
}

PublishSubscribeChannel::PublishSubscribeChannel(std::string channelName, role_t channelRole)
    : TavrikChannel(std::move(channelName), PUBLISH_SUBSCRIBE_PATTERN, channelRole) {}

PublishSubscribeChannel::~PublishSubscribeChannel() = default;

int PublishSubscribeChannel::setPublisherEndPoint(std::string endpoint) {
  return setProperty(PUB_SUB_PUBLISHER_ENDPOINT, std::move(endpoint));
}

int PublishSubscribeChannel::subscribe(std::string filter) {
  return setProperty(PUB_SUB_SUBSCRIBE_FILTER, std::move(filter));
}

int PublishSubscribeChannel::unsubscribe(std::string filter) {
  return setProperty(PUB_SUB_UNSUBSCRIBE_FILTER, std::move(filter));
}

AsyncRouterDealerChannel::AsyncRouterDealerChannel(std::string channelName, role_t channelRole)
    : TavrikChannel(std::move(channelName), ASYNC_ROUTER_DEALER_PATTERN, channelRole) {}

AsyncRouterDealerChannel::~AsyncRouterDealerChannel() = default;

int AsyncRouterDealerChannel::setServerEndPoint(std::string endpoint) {
  return setProperty(ASYNC_DEALER_CLIENT_ENDPOINT, std::move(endpoint));
}

int AsyncRouterDealerChannel::setWorkerEndPoint(std::string endpoint) {
  return setProperty(ASYNC_DEALER_WORKER_ENDPOINT, std::move(endpoint));
}

}  // namespace tavrik
