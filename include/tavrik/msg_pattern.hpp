/**
 * @file
 * What every messaging pattern has in common.
 *
 * Applications use channels, which own a pattern each. A pattern knows its socket, the properties
 * that its role accepts, when to connect, and how a message maps onto the transport. One thread at
 * a time uses it.
 */
#ifndef TAVRIK_MSG_PATTERN_HPP
#define TAVRIK_MSG_PATTERN_HPP

#include <tavrik/export.h>
#include <tavrik/types.h>

#include <atomic>
#include <cstdint>
#include <map>
#include <string>

namespace tavrik {

class Message;
class MQWrapper;
struct NumberRule;

/**
 * A channel's pattern: unconnected until it has a socket, then connected until its destruction.
 */
class TAVRIK_API MsgPattern {
 public:
  /**
   * Creates the socket, applies the type of service, and binds or connects it. Does nothing if
   * there is a socket already. If a step after the creation of the socket fails, the pattern counts
   * as connected.
   * @throws std::runtime_error the transport's failures
   */
  virtual void connectEndpoint() = 0;

  /**
   * Closes the socket: at once, or with `CHANNEL_LINGER` after its messages have been handed to the
   * network or the time is over.
   * @throws std::runtime_error the failures of MQWrapper::deleteEndpt(); with a linger also site
   * 0x1170000
   */
  virtual ~MsgPattern() noexcept(false);

  MsgPattern(const MsgPattern&) = delete;
  MsgPattern& operator=(const MsgPattern&) = delete;

  /**
   * Sets a property. Every pattern and role has the common properties `CHANNEL_TOS_PRIORITY`,
   * `CHANNEL_HEARTBEAT`, `CHANNEL_MAX_MESSAGE_SIZE` and `CHANNEL_LINGER`, to be set while not
   * connected.
   * @param prop which; of the others, the pattern decides which exist, for which role and when
   * @param value its text; for the common properties a number, of which only the low 32 bits are
   * read
   * @return 0 on success
   * @throws std::logic_error for `CHANNEL_TOS_PRIORITY` -9 and -11 as setTosPropVal(); for the
   * other common properties -43 "Invalid value for prop CHANNEL_HEARTBEAT: ", "Invalid value for
   * prop CHANNEL_MAX_MESSAGE_SIZE: " or "Invalid value for prop CHANNEL_LINGER: ", then -44
   * "channel is already connected"; and the refusals of the pattern
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
   * @param msg the caller keeps ownership
   * @return the number of parts sent; -1 when @p msg is null
   * @throws std::runtime_error the failures of connectEndpoint() and MQWrapper::send()
   */
  virtual int send(Message* msg) = 0;

  /**
   * Receives a message, connecting first.
   * @param msg its parts are replaced; it has none if nothing is received
   * @param timeout milliseconds; -1 waits indefinitely, 0 does not wait
   * @return the number of parts received, 0 if nothing arrived in time; -1 when @p msg is null or
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
   * Stores the type of service, which connecting applies.
   * @param value 0 to 255 as text; text that is not a number counts as 0. Only the low 32 bits of
   * the number are read.
   * @return 0
   * @throws std::logic_error -9 "Invalid value for prop CHANNEL_TOS_PRIORITY: "; -11 "channel is
   * already connected", in this order
   */
  int setTosPropVal(const std::string& value);

  /** @return the stored type of service, or "0" */
  std::string getTosPropVal() const;

  /**
   * Applies the type of service, 0 when none is stored, to a socket.
   * @param endpointSocket a socket from MQWrapper::createEndpt()
   * @throws std::runtime_error site 0x1070000
   */
  void setTosSockOption(void* endpointSocket);

 protected:
  /**
   * Creates an unconnected pattern.
   * @param channelName the channel's name, not empty
   * @param channelRole for the derived constructor to check
   * @throws std::runtime_error -3 "Failed to instantiate MQWrapper Object"; the transport's sites
   * 0x1000000 and 0x1120000
   * @throws std::logic_error -1 "Invalid Channel name specified" when the name is empty
   */
  MsgPattern(const std::string& channelName, role_t channelRole);

  std::string name;                                  ///< the channel's name
  std::map<channel_prop_t, std::string> properties;  ///< values as the caller gave them
  role_t role;                                       ///< the role given at construction
  MQWrapper* transport = nullptr;                    ///< not owned; lives until the process ends
  /** Null until connectEndpoint() has made it. Owned. Atomic because the statistics registry
   * compares it from other threads while this pattern connects. */
  std::atomic<void*> socket{nullptr};

  // Hidden: for the patterns of this library.

  /** @param prop any property @return whether it is a common one, see setProperty() */
  TAVRIK_LOCAL static bool isCommonProperty(channel_prop_t prop);

  /**
   * Sets a common property.
   * @param prop one for which isCommonProperty() returns true
   * @param value as setProperty()
   * @return 0
   * @throws std::logic_error as setProperty() for a common property
   */
  TAVRIK_LOCAL int setCommonProperty(channel_prop_t prop, const std::string& value);

  /** @param prop a common property @return its stored text, or "0" */
  TAVRIK_LOCAL std::string getCommonProperty(channel_prop_t prop) const;

  /**
   * Applies `CHANNEL_HEARTBEAT` and `CHANNEL_MAX_MESSAGE_SIZE` to a socket that is not bound or
   * connected yet. Makes no call for a property that is not set or 0.
   * @param endpointSocket a socket from MQWrapper::createEndpt()
   * @throws std::runtime_error site 0x1070000
   */
  TAVRIK_LOCAL void applyCommonProperties(void* endpointSocket);

  /** @param prop a common property @return its number, 0 if it is not set */
  TAVRIK_LOCAL std::uint32_t commonNumber(channel_prop_t prop) const;

  /**
   * Receives a message from the socket. If the previous call failed inside a message, discards the
   * rest of that message first; a server also answers it with one empty frame.
   * @param msg as receive()
   * @param timeout as receive()
   * @return as receive()
   * @throws std::runtime_error the failures of MQWrapper::receive() and MQWrapper::send()
   */
  TAVRIK_LOCAL int receiveMessage(Message* msg, long timeout);

  /** Tells receiveMessage() that the application has answered the message that is to be discarded.
   */
  void discardedIsAnswered() { insideMessage = false; }

  /** Calls connectEndpoint() if there is no socket yet. */
  void connectIfNeeded() {
    if (socket == nullptr) connectEndpoint();
  }

 private:
  friend class TavrikStats;
  friend struct TestPeer;
  TAVRIK_LOCAL int setNumber(const NumberRule& rule, const std::string& value);
  TAVRIK_LOCAL void discardTornMessage();

  // Whether the last receive failed inside a message, so that frames of it may be in the socket.
  bool insideMessage = false;

  friend int pattern_poll(tavrik_pollitem_t* items, unsigned int count, long timeout);
};

/**
 * Waits until one of several patterns is ready. Patterns that are not connected connect first. A
 * pattern that is polled for ::TAVRIK_POLLIN after a receive failed inside a message discards the
 * rest of that message first, as its next receive would.
 *
 * The array cannot be passed a second time: the `socket` of each record, which holds a
 * `MsgPattern*`, is replaced by that pattern's ZeroMQ socket.
 * @param items records to watch; their `socket` and `revents` are written
 * @param count 1 to 16
 * @param timeout milliseconds; -1 waits indefinitely, 0 does not wait
 * @return the number of records with events, 0 when the time-out expires, -1 for a bad argument
 * @throws std::runtime_error -1 "MsgPattern object being passed is NULL", the records before the
 * null one are then already replaced; -3 "Failed to instantiate MQWrapper Object"; -4 "Failed to
 * poll on MsgPattern"; -30 "Proxy thread creation failed"; the transport's failures. Nothing is
 * logged.
 */
TAVRIK_API int pattern_poll(tavrik_pollitem_t* items, unsigned int count, long timeout);

}  // namespace tavrik

#endif
