/**
 * @file
 * The publish/subscribe pattern: publishers send, subscribers receive and filter by subject.
 */
#ifndef TAVRIK_PUBLISH_SUBSCRIBE_MSG_PATTERN_HPP
#define TAVRIK_PUBLISH_SUBSCRIBE_MSG_PATTERN_HPP

#include <tavrik/detail/endpoint_list.hpp>
#include <tavrik/export.h>
#include <tavrik/msg_pattern.hpp>

#include <string>
#include <vector>

namespace tavrik {

/**
 * A publisher (`PUBLISHER`, a ZeroMQ PUB socket that binds one endpoint) or a subscriber
 * (`SUBSCRIBER`, a SUB socket that connects to one or more).
 *
 * Setting the endpoint connects. A subscriber without filters receives every message. A filter
 * matches the messages whose subject starts with it.
 */
class TAVRIK_API PublishSubscribeMsgPattern : public MsgPattern {
 public:
  /**
   * Creates an unconnected pattern.
   * @param channelName the channel's name, not empty
   * @param channelRole `PUBLISHER` or `SUBSCRIBER`
   * @throws std::logic_error -15 "Invalid Role specified", and what the base throws
   */
  PublishSubscribeMsgPattern(const std::string& channelName, role_t channelRole);
  ~PublishSubscribeMsgPattern() noexcept(false) override;

  void connectEndpoint() override;

  /**
   * Sets a property. A refusal changes nothing. An endpoint that the transport fails to bind or
   * connect counts as set.
   * @param prop a common property, see MsgPattern::setProperty();
   * `PUB_SUB_PUBLISHER_ENDPOINT`, for a publisher once, for a subscriber any number of times;
   * `PUB_SUB_SUBSCRIBE_FILTER` and `PUB_SUB_UNSUBSCRIBE_FILTER`, for a subscriber at any time;
   * `PUB_SUB_SET_PUB_SNDHWM`, for a publisher, and `PUB_SUB_SET_SUB_RCVHWM`, for a subscriber,
   * while not connected
   * @param value its text; for the high-water marks a number from 1 to 1000; only its low 32 bits
   * are read
   * @return 0
   * @throws std::logic_error for a common property as MsgPattern::setProperty();
   * for the endpoint -16 "Invalid Endpoint : ", then -15 "Publisher Endpoint already set : " or
   * -38 "Subscriber Endpoint already set : ";
   * for the filters -17 "Filter already exists" and -18 "Cannot remove unset filter";
   * for the high-water marks -15 "Invalid role with prop ...: ", then -39 or -40 "Invalid value for
   * prop ...: ", then -41 "channel is already connected";
   * for anything else -19 "Invalid property - cannot be set : "
   * @throws std::runtime_error the transport's failures
   */
  int setProperty(channel_prop_t prop, const std::string& value) override;

  /**
   * Reads a property.
   * @param prop a common property; `PUB_SUB_PUBLISHER_ENDPOINT`, for a subscriber the first;
   * for a subscriber `PUB_SUB_NEXT_PUBLISHER_ENDPOINT`, which returns the next endpoint with each
   * call and the empty text after the last; `PUB_SUB_SET_PUB_SNDHWM` for a publisher and
   * `PUB_SUB_SET_SUB_RCVHWM` for a subscriber
   * @return its text. Reading a high-water mark that is not set, before connecting, returns the
   * empty text and stores it: no limit.
   * @throws std::logic_error -19 "Invalid property queried"
   */
  std::string getProperty(channel_prop_t prop) override;

  /**
   * Sends a message to the connected subscribers whose filters match its subject. A subscriber
   * whose queues are at their high-water marks does not receive it.
   * @param msg the caller keeps ownership
   * @return the number of parts; -1 when @p msg is null
   * @throws std::logic_error -20 "send() Operation NOT permitted for SUBSCRIBER"
   * @throws std::runtime_error the transport's failures
   */
  int send(Message* msg) override;

  /**
   * Receives a message.
   * @param msg its parts are replaced
   * @param timeout milliseconds; -1 waits indefinitely, 0 does not wait
   * @return the number of parts, 0 if nothing arrived in time; -1 when @p msg is null or @p timeout
   * is below -1
   * @throws std::logic_error -21 "receive() Operation NOT permitted for PUBLISHER"
   * @throws std::runtime_error the transport's failures
   */
  int receive(Message* msg, long timeout) override;

 private:
  TAVRIK_LOCAL void connectPublisher();
  TAVRIK_LOCAL void connectSubscriber();
  TAVRIK_LOCAL int setEndpoint(const std::string& endpoint);
  TAVRIK_LOCAL void connectFirst(const std::string& endpoint);
  TAVRIK_LOCAL int addFilter(const std::string& filter);
  TAVRIK_LOCAL int removeFilter(const std::string& filter);
  TAVRIK_LOCAL const std::string& highWaterMark(channel_prop_t prop);

  std::vector<std::string> filters;
  EndpointList publisherEndpoints;
};

}  // namespace tavrik

#endif
