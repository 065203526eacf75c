/**
 * @file
 * Channel classes for one pattern each, with a member for each property.
 *
 *     tavrik::PublishSubscribeChannel news("news", SUBSCRIBER);
 *     news.subscribe("weather");
 *     news.setPublisherEndPoint("tcp://127.0.0.1:5555");
 *
 * Each is a tavrik::TavrikChannel, has its members and its thread rule, and may be deleted as one.
 * A setter returns and throws what TavrikChannel::setProperty() does for the property it names.
 */
#ifndef TAVRIK_TYPED_CHANNELS_HPP
#define TAVRIK_TYPED_CHANNELS_HPP

#include <tavrik/export.h>
#include <tavrik/tavrik_channel.hpp>
#include <tavrik/types.h>

#include <string>

namespace tavrik {

/** A channel of the request/reply pattern. */
class TAVRIK_API RequestReplyChannel : public TavrikChannel {
 public:
  /**
   * Creates an unconnected channel.
   * @param channelName 1 to 255 characters
   * @param channelRole `REQ_CLIENT` or `REP_SERVER`
   * @throws as TavrikChannel; -12 "Invalid Role specified" for another role
   */
  RequestReplyChannel(std::string channelName, role_t channelRole);
  ~RequestReplyChannel() override;

  /**
   * Sets `REQ_REP_SERVER_ENDPOINT`.
   * @param endpoint the server's endpoint, at most 255 characters
   * @return 0; -1 when it is too long and when the channel is connected
   * @throws std::logic_error -13 when it holds a `*`
   */
  int setServerEndPoint(std::string endpoint);
};

/** A channel of the publish/subscribe pattern. */
class TAVRIK_API PublishSubscribeChannel : public TavrikChannel {
 public:
  /**
   * Creates an unconnected channel.
   * @param channelName 1 to 255 characters
   * @param channelRole `PUBLISHER` or `SUBSCRIBER`
   * @throws as TavrikChannel; -15 "Invalid Role specified" for another role
   */
  PublishSubscribeChannel(std::string channelName, role_t channelRole);
  ~PublishSubscribeChannel() override;

  /**
   * Sets `PUB_SUB_PUBLISHER_ENDPOINT`, which connects.
   * @param endpoint a publisher's endpoint, at most 255 characters
   * @return 0; -1 when it is too long
   * @throws std::logic_error -16 when it holds a `*`, -15 for a publisher that has
   * one, -38 for a subscriber that has this one
   * @throws std::runtime_error the transport's failures; the endpoint then counts as set
   */
  int setPublisherEndPoint(std::string endpoint);

  /**
   * Sets `PUB_SUB_SUBSCRIBE_FILTER`.
   * @param filter the start of the wanted subjects, at most 255 characters; the empty text
   * matches every message
   * @return 0; -1 when it is too long
   * @throws std::logic_error -17 when it is already set, -19 for a publisher
   * @throws std::runtime_error the transport's failures
   */
  int subscribe(std::string filter);

  /**
   * Sets `PUB_SUB_UNSUBSCRIBE_FILTER`.
   * @param filter one that is set
   * @return 0; -1 when it is too long
   * @throws std::logic_error -18 when it is not set, -19 for a publisher
   * @throws std::runtime_error the transport's failures
   */
  int unsubscribe(std::string filter);
};

/** A channel of the router/dealer pattern. */
class TAVRIK_API AsyncRouterDealerChannel : public TavrikChannel {
 public:
  /**
   * Creates an unconnected channel.
   * @param channelName 1 to 255 characters
   * @param channelRole `ASYNC_DEALER_CLIENT` or `ASYNC_DEALER_WORKER`
   * @throws as TavrikChannel; -23 "Invalid Role specified" for another role
   */
  AsyncRouterDealerChannel(std::string channelName, role_t channelRole);
  ~AsyncRouterDealerChannel() override;

  /**
   * Sets `ASYNC_DEALER_CLIENT_ENDPOINT`: the endpoint to which a client connects, or one more
   * endpoint that a worker's proxy binds.
   * @param endpoint at most 255 characters
   * @return 0; -1 when it is too long; -32 when the channel is connected
   * @throws std::logic_error -26 when it holds a `*`, -42 for a worker that has this one
   */
  int setServerEndPoint(std::string endpoint);

  /**
   * Sets `ASYNC_DEALER_WORKER_ENDPOINT`: the endpoint that the proxy binds and its
   * workers connect to.
   * @param endpoint at most 255 characters
   * @return 0; -1 when it is too long; -32 when the channel is connected
   * @throws std::logic_error -26 when it holds a `*`, -27 for a client
   */
  int setWorkerEndPoint(std::string endpoint);
};

}  // namespace tavrik

#endif
