// Clients and servers that take turns.
#include <core/failure.hpp>
#include <tavrik/mq_wrapper.hpp>
#include <tavrik/request_reply_msg_pattern.hpp>

#include <zmq.h>

namespace tavrik {

RequestReplyMsgPattern::RequestReplyMsgPattern(const std::string& channelName, role_t channelRole)
    : MsgPattern(channelName, channelRole) {
  logged("Error : Tavrik::RequestReplyMsgPattern::RequestReplyMsgPattern() : ", [&] {
    if (role != REQ_CLIENT && role != REP_SERVER) fail(failures::invalidRequestReplyRole);
  });
}

RequestReplyMsgPattern::~RequestReplyMsgPattern() noexcept(false) = default;

void RequestReplyMsgPattern::connectEndpoint() {
  if (socket != nullptr) return;
  // Store the socket before anything else can fail: the destructor then closes it.
  socket = transport->createEndpt(role == REQ_CLIENT ? ZMQ_REQ : ZMQ_REP);
  setTosSockOption(socket);
  applyCommonProperties(socket);
  const std::string& endpoint = properties[REQ_REP_SERVER_ENDPOINT];
  if (role == REQ_CLIENT) {
    transport->registerReceiver(socket, endpoint);
  } else {
    transport->registerSender(socket, endpoint);
  }
}

int RequestReplyMsgPattern::setProperty(channel_prop_t prop, const std::string& value) {
  return logged("Error : Tavrik::RequestReplyMsgPattern::setProperty() : ", [&] {
    if (isCommonProperty(prop)) return setCommonProperty(prop, value);
    if (socket != nullptr) return -1;  // not thrown, unlike for the type of service
    if (prop != REQ_REP_SERVER_ENDPOINT) fail(failures::invalidRequestReplyProperty, value);
    if (!isValidEndpt(value)) fail(failures::invalidRequestReplyEndpoint, value);
    properties.insert_or_assign(prop, value);
    return 0;
  });
}

std::string RequestReplyMsgPattern::getProperty(channel_prop_t prop) {
  return logged("Error : Tavrik::RequestReplyMsgPattern::getProperty() : ", [&] {
    if (isCommonProperty(prop)) return getCommonProperty(prop);
    if (prop != REQ_REP_SERVER_ENDPOINT) fail(failures::invalidRequestReplyQuery);
    return properties[prop];
  });
}

int RequestReplyMsgPattern::send(Message* msg) {
  connectIfNeeded();
  const int sent = transport->send(socket, msg);
  if (sent > 0) discardedIsAnswered();
  return sent;
}

int RequestReplyMsgPattern::receive(Message* msg, long timeout) {
  connectIfNeeded();
  return receiveMessage(msg, timeout);
}

}  // namespace tavrik
