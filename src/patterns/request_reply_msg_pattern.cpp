// Clients and servers that take turns.
#include <core/error.hpp>
#include <tavrik/mq_wrapper.hpp>
#include <tavrik/request_reply_msg_pattern.hpp>

#include <zmq.h>

namespace tavrik {

RequestReplyMsgPattern::RequestReplyMsgPattern(const std::string& channelName, role_t channelRole)
    : MsgPattern(channelName, channelRole) {
  logged("Error : Tavrik::RequestReplyMsgPattern::RequestReplyMsgPattern() : ", [&] {
    if (role != REQ_CLIENT && role != REP_SERVER) fail(faults::invalidRequestReplyRole);
  });
}

RequestReplyMsgPattern::~RequestReplyMsgPattern() noexcept(false) = default;

void RequestReplyMsgPattern::connectEndpoint() {
  if (socket != nullptr) return;
  // The socket is stored before anything else can fail, so that the destructor closes it.
  socket = transport->createEndpt(role == REQ_CLIENT ? ZMQ_REQ : ZMQ_REP);
  setTosSockOption(socket);
  const std::string& endpoint = properties[REQ_REP_SERVER_ENDPOINT];
  if (role == REQ_CLIENT) {
    transport->registerReceiver(socket, endpoint);
  } else {
    transport->registerSender(socket, endpoint);
  }
}

int RequestReplyMsgPattern::setProperty(channel_prop_t prop, const std::string& value) {
  return logged("Error : Tavrik::RequestReplyMsgPattern::setProperty() : ", [&] {
    if (prop == CHANNEL_TOS_PRIORITY) return setTosPropVal(value);
    if (socket != nullptr) return -1;  // silent, unlike the type of service
    if (prop != REQ_REP_SERVER_ENDPOINT) fail(faults::invalidRequestReplyProperty, value);
    if (!isValidEndpt(value)) fail(faults::invalidRequestReplyEndpoint, value);
    properties[REQ_REP_SERVER_ENDPOINT] = value;
    return 0;
  });
}

std::string RequestReplyMsgPattern::getProperty(channel_prop_t prop) {
  return logged("Error : Tavrik::RequestReplyMsgPattern::getProperty() : ", [&] {
    switch (prop) {
      case CHANNEL_TOS_PRIORITY:
        return getTosPropVal();
      case REQ_REP_SERVER_ENDPOINT:
        return properties[REQ_REP_SERVER_ENDPOINT];
      default:
        fail(faults::invalidRequestReplyQuery);
    }
  });
}

int RequestReplyMsgPattern::send(Message* msg) {
  connectEndpoint();
  return transport->send(socket, msg);
}

int RequestReplyMsgPattern::receive(Message* msg, long timeout) {
  connectEndpoint();
  return transport->receive(socket, msg, timeout);
}

}  // namespace tavrik
