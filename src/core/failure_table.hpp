// The table of the library's failures: exception type, status code and text.
//
// Applications compare codes and tests compare texts: neither changes after a release. One code may
// have several texts, and one text several codes.
#ifndef TAVRIK_CORE_FAILURE_TABLE_HPP
#define TAVRIK_CORE_FAILURE_TABLE_HPP

#include <stdexcept>

namespace tavrik {

template <class Exception>
struct Failure {
  int code;
  const char* description;
};

using LogicFailure = Failure<std::logic_error>;
using RuntimeFailure = Failure<std::runtime_error>;

namespace failures {

inline constexpr RuntimeFailure inputParameterNull{-1, "Input parameter is NULL"};
inline constexpr RuntimeFailure channelInstanceNull{-1, "Channel instance is NULL"};
inline constexpr RuntimeFailure polledChannelNull{-1, "TavrikChannel object being passed is NULL"};
inline constexpr RuntimeFailure polledPatternNull{-1, "MsgPattern object being passed is NULL"};
inline constexpr LogicFailure channelNameEmpty{-1, "Invalid Channel name specified"};
inline constexpr LogicFailure channelNameTooLong{-2, "Channel name cannot exceed 255 characters"};
inline constexpr RuntimeFailure noTransport{-3, "Failed to instantiate MQWrapper Object"};
inline constexpr RuntimeFailure noFactory{-3, "Failed to instantiate MsgPatternFactory Object"};
inline constexpr RuntimeFailure noPattern{-3, "Failed to instantiate MsgPattern Object"};
inline constexpr RuntimeFailure receiveFailed{-3, "Failed to receive message"};
inline constexpr RuntimeFailure noBuffer{-3, "Failed to allocate memory to buffer"};
inline constexpr RuntimeFailure publisherPolled{
    -3, "channel_poll() Operation NOT permitted for PUBLISHER"};
inline constexpr RuntimeFailure channelPollFailed{-4, "Failed to poll on TavrikChannel"};
inline constexpr RuntimeFailure patternPollFailed{-4, "Failed to poll on MsgPattern"};
inline constexpr LogicFailure partIndexOutOfBounds{-5, "Message part index out of bounds"};
inline constexpr LogicFailure invalidPartNumber{-5, "Invalid part number"};
inline constexpr RuntimeFailure channelAlreadyMonitored{
    -6, "Channel entry already exists in channel_list"};
inline constexpr RuntimeFailure channelEntryNotFound{-7, "Channel entry not found in channel_list"};
inline constexpr RuntimeFailure channelNotMonitored{-8, "The channel is not being monitored"};
inline constexpr LogicFailure invalidTosPriority{-9,
                                                 "Invalid value for prop CHANNEL_TOS_PRIORITY: "};
inline constexpr LogicFailure invalidPattern{-10, "Invalid Message Pattern"};
inline constexpr LogicFailure tosAfterConnecting{-11, "channel is already connected"};
inline constexpr LogicFailure partTooLong{-34, "Message part is too long"};
inline constexpr LogicFailure invalidHeartbeat{-43, "Invalid value for prop CHANNEL_HEARTBEAT: "};
inline constexpr LogicFailure invalidMaxMessageSize{
    -43, "Invalid value for prop CHANNEL_MAX_MESSAGE_SIZE: "};
inline constexpr LogicFailure invalidLinger{-43, "Invalid value for prop CHANNEL_LINGER: "};
inline constexpr LogicFailure channelPropertyAfterConnecting{-44, "channel is already connected"};
inline constexpr RuntimeFailure mutexNull{
    -31, "Mutex received does not refer to an initialised mutex object."};

// Request/reply.
inline constexpr LogicFailure invalidRequestReplyRole{-12, "Invalid Role specified"};
inline constexpr LogicFailure invalidRequestReplyEndpoint{-13, "Invalid Endpoint : "};
inline constexpr LogicFailure invalidRequestReplyQuery{-14, "Invalid property queried"};
inline constexpr LogicFailure invalidRequestReplyProperty{-14,
                                                          "Invalid property - cannot be set : "};

// Publish/subscribe.
inline constexpr LogicFailure invalidPublishSubscribeRole{-15, "Invalid Role specified"};
inline constexpr LogicFailure publisherEndpointAlreadySet{-15, "Publisher Endpoint already set : "};
inline constexpr LogicFailure publisherHighWaterMarkRole{
    -15, "Invalid role with prop PUB_SUB_SET_PUB_SNDHWM: "};
inline constexpr LogicFailure subscriberHighWaterMarkRole{
    -15, "Invalid role with prop PUB_SUB_SET_SUB_RCVHWM: "};
inline constexpr LogicFailure invalidPublishSubscribeEndpoint{-16, "Invalid Endpoint : "};
inline constexpr LogicFailure filterAlreadyExists{-17, "Filter already exists"};
inline constexpr LogicFailure filterNotSet{-18, "Cannot remove unset filter"};
inline constexpr LogicFailure invalidPublishSubscribeQuery{-19, "Invalid property queried"};
inline constexpr LogicFailure invalidPublishSubscribeProperty{
    -19, "Invalid property - cannot be set : "};
inline constexpr LogicFailure sendBySubscriber{-20,
                                               "send() Operation NOT permitted for SUBSCRIBER"};
inline constexpr LogicFailure receiveByPublisher{-21,
                                                 "receive() Operation NOT permitted for PUBLISHER"};
inline constexpr LogicFailure subscriberEndpointAlreadySet{-38,
                                                           "Subscriber Endpoint already set : "};
inline constexpr LogicFailure invalidPublisherHighWaterMark{
    -39, "Invalid value for prop PUB_SUB_SET_PUB_SNDHWM: "};
inline constexpr LogicFailure invalidSubscriberHighWaterMark{
    -40, "Invalid value for prop PUB_SUB_SET_SUB_RCVHWM: "};
inline constexpr LogicFailure highWaterMarkAfterConnecting{-41, "channel is already connected"};

// Router/dealer.
inline constexpr LogicFailure invalidRouterDealerRole{-23, "Invalid Role specified"};
inline constexpr LogicFailure roleNotDefined{-23, "Channel Role not defined : "};
inline constexpr LogicFailure clientHighWaterMarkRole{
    -23, "Invalid role with prop ASYNC_DEALER_CLIENT_SNDHWM: "};
inline constexpr LogicFailure invalidClientHighWaterMark{
    -24, "Invalid value for prop ASYNC_DEALER_CLIENT_SNDHWM: "};
inline constexpr LogicFailure clientHighWaterMarkAfterConnecting{-25,
                                                                 "channel is already connected"};
inline constexpr LogicFailure invalidRouterDealerEndpoint{-26, "Invalid Endpoint : "};
inline constexpr LogicFailure invalidRouterDealerQuery{-27, "Invalid property queried"};
inline constexpr LogicFailure invalidRouterDealerProperty{-27,
                                                          "Invalid property - cannot be set : "};
inline constexpr LogicFailure messageHandleNull{-28, "Message handle is NULL"};
inline constexpr LogicFailure proxyNotFound{-29, "Thread entry not found in proxythreads"};
inline constexpr RuntimeFailure proxyNotStarted{-30, "Proxy thread creation failed"};
inline constexpr LogicFailure dealerEndpointAlreadySet{-42, "Dealer Endpoint already set : "};

}  // namespace failures
}  // namespace tavrik

#endif
