/**
 * @file
 * The owner of the ZeroMQ context, and every operation on its sockets.
 *
 * Applications use channels; this is the layer below the patterns. Sockets are untyped pointers
 * here. One pattern object owns a socket, and one thread at a time uses it.
 *
 * A failure of ZeroMQ throws `std::runtime_error` with the text "description : error text" and
 * "zeromq:" with the composite code that tavrik::MQWrapper::constructErrorCode() makes;
 * decode_error() turns it into a negative number whose magnitude is at least 16777216, unless the
 * text names an endpoint that contains one of the two markers. Each member lists the sites of its
 * failures.
 */
#ifndef TAVRIK_MQ_WRAPPER_HPP
#define TAVRIK_MQ_WRAPPER_HPP

#include <tavrik/export.h>
#include <tavrik/types.h>

#include <pthread.h>

#include <atomic>
#include <cstdint>
#include <string>

namespace tavrik {

class Message;

/** Socket options that the patterns set. */
enum option_t : unsigned int {
  OPT_SUBSCRIBE = 0,   /**< text: a subscription filter; the empty text matches every message */
  OPT_UNSUBSCRIBE = 1, /**< text: a filter to drop */
  OPT_IDENTITY = 2,    /**< text: the socket's routing identity */
  OPT_SNDHWM = 3,      /**< number: messages to queue for a slow peer */
  OPT_TOS = 4,         /**< number: IP type of service */
  OPT_RCVHWM = 5,      /**< number: messages to queue for a slow application */
  OPT_HEARTBEAT_INTERVAL = 4096, /**< number: milliseconds between heartbeats */
  OPT_HEARTBEAT_TIMEOUT = 4097,  /**< number: milliseconds without traffic after a heartbeat */
  OPT_MAX_MESSAGE_SIZE = 4098,   /**< 64-bit number: bytes of the largest frame to receive */
  OPT_ROUTER_HANDOVER = 4099,    /**< number: 1 lets a new connection take over an identity */
  OPT_CONNECT_TIMEOUT = 4100,    /**< number: milliseconds for an attempt to connect */
  OPT_HANDSHAKE_TIMEOUT = 4101   /**< number: milliseconds for ZeroMQ's handshake */
};

/**
 * The transport of the process. Every member may be called from any thread; one thread at a time
 * uses a socket.
 */
class TAVRIK_API MQWrapper {
 public:
  /**
   * @return the transport, which lives until the process ends
   * @throws std::runtime_error site 0x1000000 (no context) or 0x1120000 (I/O threads not set);
   * std::bad_alloc; a later call tries again
   */
  static MQWrapper* getInstance();

  MQWrapper(const MQWrapper&) = delete;
  MQWrapper& operator=(const MQWrapper&) = delete;

  /** Does not terminate the ZeroMQ context: sockets and proxies may outlive any object. */
  ~MQWrapper();  // NOLINT(performance-trivially-destructible): programs link it

  /**
   * Creates a socket with TCP keep-alive configured.
   * @param socketType a ZeroMQ socket type such as `ZMQ_REQ`
   * @return the socket, to be released with deleteEndpt()
   * @throws std::runtime_error site 0x1010000 (no socket); 0x1020000 to 0x1050000 (a keep-alive
   * option refused; the socket is closed); 0x1130000 to 0x1160000 (the same, and closing failed
   * too)
   */
  void* createEndpt(int socketType) const;

  /**
   * Binds a socket.
   * @param socket a socket from createEndpt()
   * @param endpoint a ZeroMQ endpoint such as "tcp://127.0.0.1:5555" or "ipc:///run/x"
   * @return 0
   * @throws std::runtime_error site 0x1090000; the text names the endpoint
   */
  int registerSender(void* socket, const std::string& endpoint) const;

  /**
   * Connects a socket. The endpoint need not be bound yet.
   * @param socket a socket from createEndpt()
   * @param endpoint as for registerSender()
   * @return 0
   * @throws std::runtime_error site 0x10a0000; the text names the endpoint
   */
  int registerReceiver(void* socket, const std::string& endpoint) const;

  /**
   * Sets one option.
   * @param socket a socket from createEndpt()
   * @param option which; any other number is rejected by ZeroMQ
   * @param value the text itself, or the decimal form of a number. Text that is not a number counts
   * as 0; text after a number is ignored.
   * @return 0
   * @throws std::runtime_error site 0x1070000
   */
  int setOption(void* socket, option_t option, const std::string& value) const;

  /**
   * Closes a socket at once. Queued messages are dropped.
   * @param socket null is ignored
   * @throws std::runtime_error site 0x1060000 (linger not set, the socket stays open) or
   * 0x10c0000 (not closed). Nothing is logged.
   */
  void deleteEndpt(void* socket) const;

  /**
   * Sends a message as one multipart ZeroMQ message, a frame per part. Never blocks.
   * @param socket a socket from createEndpt()
   * @param msg not changed; a message without parts sends nothing
   * @return the number of parts, or -1 when @p socket or @p msg is null
   * @throws std::runtime_error site 0x10d0000 (no frame), 0x10b0000 (not sent: error 11 if the
   * socket cannot queue it now, which makes the code 17498123) or 0x10c0000 (frame not closed);
   * frames already sent stay sent
   */
  int send(void* socket, Message* msg) const;

  /**
   * Receives a message: its frames replace the parts of @p msg, which has none if nothing is
   * received.
   * @param socket a socket from createEndpt()
   * @param msg its handle and bookkeeping are not changed
   * @param timeout milliseconds; -1 waits indefinitely, 0 does not wait
   * @return the number of parts; 0 if nothing arrived in time or a signal ended the wait (a signal
   * just before the wait is a failure: site 0x10e0000, error 4); -1, with @p msg unchanged, when @p
   * socket or @p msg is null or @p timeout is below -1
   * @throws std::runtime_error site 0x10e0000 (not received), 0x10f0000 (end of message
   * unknown) or 0x10c0000 (frame not closed); parts already received stay in @p msg
   */
  int receive(void* socket, Message* msg, long timeout) const;

  /**
   * Waits until one of several sockets is ready.
   * @param items records whose `socket` is a ZeroMQ socket; their `revents` are written
   * @param count 1 to 16
   * @param timeout milliseconds; -1 waits indefinitely, 0 does not wait
   * @return the number of records with events, 0 when the time-out expires, -1 for a bad argument
   * @throws std::runtime_error site 0x1110000. Nothing is logged.
   */
  int poll(tavrik_pollitem_t* items, unsigned int count, long timeout) const;

  /**
   * @param site where the transport failed: 0x01nn0000
   * @return the site with ZeroMQ's current error number in the low 15 bits, and bit 15 set for one
   * of ZeroMQ's own numbers, which count from its base
   */
  int constructErrorCode(int site) const;

 private:
  // For the patterns only.
  friend class MsgPattern;

  // Closes a socket after its queued messages have been handed to the network. Blocks until then,
  // at most linger milliseconds (1 or more). Returns whether every message was handed over in time;
  // the others are dropped. Throws site 0x1170000 (the socket cannot be watched: it is closed, and
  // ZeroMQ hands messages over in the background), 0x1060000 or 0x10c0000 (it stays open). Logs
  // nothing.
  TAVRIK_LOCAL bool deleteEndptAfter(void* socket, int linger) const;

  // Receives as the public function does. Sets insideMessage to true after a failure that may have
  // left frames of the message in the socket, and to false after a complete message.
  TAVRIK_LOCAL int receive(void* socket, Message* msg, long timeout, bool& insideMessage) const;

  // Receives and drops the remaining frames of a message inside which a receive has failed. Throws
  // site 0x10e0000, 0x10f0000 or 0x10c0000.
  TAVRIK_LOCAL void discardRest(void* socket) const;

  TAVRIK_LOCAL MQWrapper();

  void* context;

  TAVRIK_LOCAL static pthread_mutex_t MQWrapperMutex;
  TAVRIK_LOCAL static std::atomic<MQWrapper*> instance;
  TAVRIK_LOCAL static std::atomic<std::uint32_t> created;
};

}  // namespace tavrik

#endif
