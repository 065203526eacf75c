// The library's own failures: each row the exception type, the status code and the text.
//
// Applications compare codes and testers compare texts, so neither changes once released. A code
// may stand behind several texts, and a text behind several codes.
#ifndef TAVRIK_CORE_FAULTS_HPP
#define TAVRIK_CORE_FAULTS_HPP

#include <stdexcept>

namespace tavrik {

template <class Exception>
struct Fault {
  int code;
  const char* description;
};

using LogicFault = Fault<std::logic_error>;
using RuntimeFault = Fault<std::runtime_error>;

namespace faults {

inline constexpr RuntimeFault inputParameterNull{-1, "Input parameter is NULL"};
inline constexpr RuntimeFault channelInstanceNull{-1, "Channel instance is NULL"};
inline constexpr RuntimeFault polledChannelNull{-1, "TavrikChannel object being passed is NULL"};
inline constexpr RuntimeFault polledPatternNull{-1, "MsgPattern object being passed is NULL"};
inline constexpr LogicFault channelNameEmpty{-1, "Invalid Channel name specified"};
inline constexpr LogicFault channelNameTooLong{-2, "Channel name cannot exceed 255 characters"};
inline constexpr RuntimeFault noTransport{-3, "Failed to instantiate MQWrapper Object"};
inline constexpr RuntimeFault noFactory{-3, "Failed to instantiate MsgPatternFactory Object"};
inline constexpr RuntimeFault noPattern{-3, "Failed to instantiate MsgPattern Object"};
inline constexpr RuntimeFault receiveFailed{-3, "Failed to receive message"};
inline constexpr RuntimeFault noBuffer{-3, "Failed to allocate memory to buffer"};
inline constexpr RuntimeFault publisherPolled{
    -3, "channel_poll() Operation NOT permitted for PUBLISHER"};
inline constexpr RuntimeFault channelPollFailed{-4, "Failed to poll on TavrikChannel"};
inline constexpr RuntimeFault patternPollFailed{-4, "Failed to poll on MsgPattern"};
inline constexpr LogicFault partIndexOutOfBounds{-5, "Message part index out of bounds"};
inline constexpr LogicFault invalidPartNumber{-5, "Invalid part number"};
inline constexpr RuntimeFault channelAlreadyMonitored{
    -6, "Channel entry already exists in channel_list"};
inline constexpr RuntimeFault channelEntryNotFound{-7, "Channel entry not found in channel_list"};
inline constexpr RuntimeFault channelNotMonitored{-8, "The channel is not being monitored"};
inline constexpr LogicFault invalidTosPriority{-9, "Invalid value for prop CHANNEL_TOS_PRIORITY: "};
inline constexpr LogicFault invalidPattern{-10, "Invalid Message Pattern"};
inline constexpr LogicFault tosAfterConnecting{-11, "channel is already connected"};
inline constexpr RuntimeFault mutexNull{
    -31, "Mutex received does not refer to an initialised mutex object."};

// Request/reply.
inline constexpr LogicFault invalidRequestReplyRole{-12, "Invalid Role specified"};
inline constexpr LogicFault invalidRequestReplyEndpoint{-13, "Invalid Endpoint : "};
inline constexpr LogicFault invalidRequestReplyQuery{-14, "Invalid property queried"};
inline constexpr LogicFault invalidRequestReplyProperty{-14, "Invalid property - cannot be set : "};

// Publish/subscribe.
inline constexpr LogicFault invalidPublishSubscribeRole{-15, "Invalid Role specified"};
inline constexpr LogicFault publisherEndpointAlreadySet{-15, "Publisher Endpoint already set : "};
inline constexpr LogicFault publisherMarkRole{-15,
                                              "Invalid role with prop PUB_SUB_SET_PUB_SNDHWM: "};
inline constexpr LogicFault subscriberMarkRole{-15,
                                               "Invalid role with prop PUB_SUB_SET_SUB_RCVHWM: "};
inline constexpr LogicFault invalidPublishSubscribeEndpoint{-16, "Invalid Endpoint : "};
inline constexpr LogicFault filterAlreadyExists{-17, "Filter already exists"};
inline constexpr LogicFault filterNotSet{-18, "Cannot remove unset filter"};
inline constexpr LogicFault invalidPublishSubscribeQuery{-19, "Invalid property queried"};
inline constexpr LogicFault invalidPublishSubscribeProperty{-19,
                                                            "Invalid property - cannot be set : "};
inline constexpr LogicFault sendBySubscriber{-20, "send() Operation NOT permitted for SUBSCRIBER"};
inline constexpr LogicFault receiveByPublisher{-21,
                                               "receive() Operation NOT permitted for PUBLISHER"};
inline constexpr LogicFault subscriberEndpointAlreadySet{-38, "Subscriber Endpoint already set : "};
inline constexpr LogicFault invalidPublisherMark{-39,
                                                 "Invalid value for prop PUB_SUB_SET_PUB_SNDHWM: "};
inline constexpr LogicFault invalidSubscriberMark{
    -40, "Invalid value for prop PUB_SUB_SET_SUB_RCVHWM: "};
inline constexpr LogicFault markAfterConnecting{-41, "channel is already connected"};

// Router/dealer.
inline constexpr LogicFault invalidRouterDealerRole{-23, "Invalid Role specified"};
inline constexpr LogicFault roleNotDefined{-23, "Channel Role not defined : "};
inline constexpr LogicFault clientMarkRole{-23,
                                           "Invalid role with prop ASYNC_DEALER_CLIENT_SNDHWM: "};
inline constexpr LogicFault invalidClientMark{
    -24, "Invalid value for prop ASYNC_DEALER_CLIENT_SNDHWM: "};
inline constexpr LogicFault clientMarkAfterConnecting{-25, "channel is already connected"};
inline constexpr LogicFault invalidRouterDealerEndpoint{-26, "Invalid Endpoint : "};
inline constexpr LogicFault invalidRouterDealerQuery{-27, "Invalid property queried"};
inline constexpr LogicFault invalidRouterDealerProperty{-27, "Invalid property - cannot be set : "};
inline constexpr LogicFault messageHandleNull{-28, "Message handle is NULL"};
inline constexpr LogicFault proxyNotFound{-29, "Thread entry not found in proxythreads"};
inline constexpr RuntimeFault proxyNotStarted{-30, "Proxy thread creation failed"};
inline constexpr LogicFault dealerEndpointAlreadySet{-42, "Dealer Endpoint already set : "};

}  // namespace faults
}  // namespace tavrik

#endif
