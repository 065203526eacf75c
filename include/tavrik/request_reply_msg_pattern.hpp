/**
 * @file
 * The request/reply pattern: a client sends a request, a server sends the reply, in strict turns.
 */
#ifndef TAVRIK_REQUEST_REPLY_MSG_PATTERN_HPP
#define TAVRIK_REQUEST_REPLY_MSG_PATTERN_HPP

#include <tavrik/export.h>
#include <tavrik/msg_pattern.hpp>

#include <string>

namespace tavrik {

/**
 * A client (`REQ_CLIENT`, a ZeroMQ REQ socket that connects) or a server (`REP_SERVER`, a REP
 * socket that binds). ZeroMQ's sockets enforce the turns: a call out of turn fails with the
 * transport's error.
 */
class TAVRIK_API RequestReplyMsgPattern : public MsgPattern {
 public:
  /**
   * Creates an unconnected pattern.
   * @param channelName the channel's name, not empty
   * @param channelRole `REQ_CLIENT` or `REP_SERVER`
   * @throws std::logic_error -12 "Invalid Role specified", and what the base throws
   */
  RequestReplyMsgPattern(const std::string& channelName, role_t channelRole);
  ~RequestReplyMsgPattern() noexcept(false) override;

  void connectEndpoint() override;

  /**
   * Sets a property.
   * @param prop a common property, see MsgPattern::setProperty(), or `REQ_REP_SERVER_ENDPOINT`,
   * while not connected
   * @param value its text
   * @return 0; -1, without an exception, for anything but a common property once connected
   * @throws std::logic_error for a common property as MsgPattern::setProperty(); -14 "Invalid
   * property - cannot be set : "; -13 "Invalid Endpoint : " for an endpoint that holds `*`
   */
  int setProperty(channel_prop_t prop, const std::string& value) override;

  /**
   * Reads a property.
   * @param prop a common property or `REQ_REP_SERVER_ENDPOINT`
   * @return its text; when unset, the empty text or "0"
   * @throws std::logic_error -14 "Invalid property queried"
   */
  std::string getProperty(channel_prop_t prop) override;

  int send(Message* msg) override;
  int receive(Message* msg, long timeout) override;
};

}  // namespace tavrik

#endif
