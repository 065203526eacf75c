/**
 * @file
 * What every messaging pattern has in common.
 *
 * Applications use channels, which own a pattern each. A pattern knows its socket, the properties
 * that its role accepts, when to connect, and how a message maps onto the transport. It is used by
 * one thread at a time.
 */
#ifndef TAVRIK_MSG_PATTERN_HPP
#define TAVRIK_MSG_PATTERN_HPP

#include <tavrik/export.h>
#include <tavrik/types.h>

#include <atomic>
#include <map>
#include <string>

namespace tavrik {

class Message;
class MQWrapper;

/**
 * A channel's pattern: unconnected while it has no socket, connected from then to its destruction.
 */
class TAVRIK_API MsgPattern {
 public:
  /**
   * Makes the socket, applies the type of service, and binds or connects it. Does nothing when
   * there is a socket already. After a failure past the making of the socket, the pattern counts
   * as connected.
   * @throws std::runtime_error the transport's failures
   */
  virtual void connectEndpoint() = 0;

  /** Closes the socket. @throws std::runtime_error the failures of MQWrapper::deleteEndpt() */
  virtual ~MsgPattern() noexcept(false);

  MsgPattern(const MsgPattern&) = delete;
  MsgPattern& operator=(const MsgPattern&) = delete;

  /**
   * Sets a property.
   * @param prop which; the pattern decides what it knows, for which role and when
   * @param value its text
   * @return 0 on success
   * @throws std::logic_error the refusals of the pattern
   */
  virtual int setProperty(channel_prop_t prop, const std::string& value) = 0;

  /**
   * Reads a property.
   * @param prop which
   * @return its text
   * @throws std::logic_error the refusals of the pattern
   */
  virtual std::string getProperty(channel_prop_t prop) = 0;

  /**
   * Sends a message, connecting first.
   * @param msg stays the caller's
   * @return the number of parts sent; -1 when @p msg is null
   * @throws std::runtime_error the failures of connectEndpoint() and MQWrapper::send()
   */
  virtual int send(Message* msg) = 0;

  /**
   * Receives a message, connecting first.
   * @param msg its parts are replaced; it has none when nothing comes
   * @param timeout milliseconds; -1 waits for ever, 0 does not wait
   * @return the number of parts received, 0 when nothing came in time; -1 when @p msg is null or
   * @p timeout is below -1
   * @throws std::runtime_error the failures of connectEndpoint() and MQWrapper::receive()
   */
  virtual int receive(Message* msg, long timeout) = 0;

  /**
   * Checks an endpoint.
   * @param endpoint any text
   * @return true exactly when it holds no `*`; nothing else is checked
   */
  bool isValidEndpt(const std::string& endpoint) const;

  /**
   * Stores the type of service for the socket to come.
   * @param value 0 to 255 as text; text that is not a number counts as 0. Only the low 32 bits of
   * the number are looked at.
   * @return 0
   * @throws std::logic_error -9 "Invalid value for prop CHANNEL_TOS_PRIORITY: "; -11 "channel is
   * already connected", in this order
   */
  int setTosPropVal(const std::string& value);

  /** @return the stored type of service, or "0" */
  std::string getTosPropVal() const;

  /**
   * Applies the type of service, 0 when none is stored, to a socket.
   * @param endpointSocket one of MQWrapper::createEndpt()
   * @throws std::runtime_error site 0x1070000
   */
  void setTosSockOption(void* endpointSocket);

 protected:
  /**
   * Makes an unconnected pattern.
   * @param channelName the channel's name, not empty
   * @param channelRole for the derived constructor to check
   * @throws std::runtime_error -3 "Failed to instantiate MQWrapper Object"
   * @throws std::logic_error -1 "Invalid Channel name specified" when the name is empty
   */
  MsgPattern(const std::string& channelName, role_t channelRole);

  std::string name;                                  ///< the channel's name
  std::map<channel_prop_t, std::string> properties;  ///< values as they were given
  role_t role;                                       ///< the role of construction
  MQWrapper* transport = nullptr;                    ///< not owned; lives until the process ends
  /** Null until connectEndpoint() has made it. Owned. Atomic because the statistics registry
   * compares it from other threads while this pattern connects. */
  std::atomic<void*> socket{nullptr};

 private:
  friend class TavrikStats;
  friend int pattern_poll(tavrik_pollitem_t* items, unsigned int count, long timeout);
};

/**
 * Waits until one of several patterns is ready; those that are not connected yet connect first.
 *
 * The array cannot be passed again as it stands: the `socket` of each record, which holds a
 * `MsgPattern*`, is replaced by that pattern's ZeroMQ socket.
 * @param items records to watch; their `socket` and `revents` are written
 * @param count 1 to 16
 * @param timeout milliseconds; -1 waits for ever, 0 does not wait
 * @return the number of records with events, 0 when time is up, -1 for a bad argument
 * @throws std::runtime_error -1 "MsgPattern object being passed is NULL", the records before the
 * null one being replaced by then; -3 "Failed to instantiate MQWrapper Object"; -4 "Failed to poll
 * on MsgPattern"; the transport's failures. Nothing is logged.
 */
TAVRIK_API int pattern_poll(tavrik_pollitem_t* items, unsigned int count, long timeout);

}  // namespace tavrik

#endif
