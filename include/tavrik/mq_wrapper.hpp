/**
 * @file
 * The one owner of the ZeroMQ context, and everything that is done with its sockets.
 *
 * Applications use channels; this is the floor that the patterns stand on. Sockets are untyped
 * pointers here. Each belongs to one pattern object and is used by one thread at a time.
 *
 * A failure of ZeroMQ throws `std::runtime_error` with the text "description : error text" and
 * "zeromq:" with the composite code that tavrik::MQWrapper::constructErrorCode() makes;
 * decode_error() turns it into a negative number of at least 16777216 in magnitude, unless the
 * endpoint that a text names holds one of the two markers. The site of each failure is named at the
 * member that raises it.
 */
#ifndef TAVRIK_MQ_WRAPPER_HPP
#define TAVRIK_MQ_WRAPPER_HPP

#include <tavrik/export.h>
#include <tavrik/types.h>

#include <pthread.h>

#include <atomic>
#include <cstdint>
#include <map>
#include <string>

namespace tavrik {

class Message;

/** Socket options that the patterns set. */
enum option_t : unsigned int {
  OPT_SUBSCRIBE = 0,   /**< text: a subscription filter; the empty text takes every message */
  OPT_UNSUBSCRIBE = 1, /**< text: a filter to drop */
  OPT_IDENTITY = 2,    /**< text: the socket's routing identity */
  OPT_SNDHWM = 3,      /**< number: messages to hold for a peer that is behind */
  OPT_TOS = 4,         /**< number: IP type of service */
  OPT_RCVHWM = 5       /**< number: messages to hold for an application that is behind */
};

/**
 * The transport of the process. Every member may be called from any thread, each socket from one
 * thread at a time.
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

  /** Leaves the ZeroMQ context alone: sockets and proxies may outlive any object. */
  ~MQWrapper();

  /**
   * Makes a socket with TCP keep-alive configured.
   * @param socketType a ZeroMQ socket type such as `ZMQ_REQ`
   * @return the socket, to be released with deleteEndpt()
   * @throws std::runtime_error site 0x1010000 (no socket); 0x1020000 to 0x1050000 (a keep-alive
   * option refused, the socket closed); 0x1130000 to 0x1160000 (the same, and closing failed too)
   */
  void* createEndpt(int socketType) const;

  /**
   * Binds a socket.
   * @param socket one of createEndpt()
   * @param endpoint a ZeroMQ endpoint such as "tcp://127.0.0.1:5555" or "ipc:///run/x"
   * @return 0
   * @throws std::runtime_error site 0x1090000; the text names the endpoint
   */
  int registerSender(void* socket, const std::string& endpoint) const;

  /**
   * Connects a socket. The endpoint need not be bound yet.
   * @param socket one of createEndpt()
   * @param endpoint as for registerSender()
   * @return 0
   * @throws std::runtime_error site 0x10a0000; the text names the endpoint
   */
  int registerReceiver(void* socket, const std::string& endpoint) const;

  /**
   * Sets one option.
   * @param socket one of createEndpt()
   * @param option which; any other number is rejected by ZeroMQ
   * @param value the text itself, or for a number its decimal form: text that is not a number
   * counts as 0, and what follows a number is ignored
   * @return 0
   * @throws std::runtime_error site 0x1070000
   */
  int setOption(void* socket, option_t option, const std::string& value) const;

  /**
   * Closes a socket at once: messages that it still holds are dropped.
   * @param socket null is ignored
   * @throws std::runtime_error site 0x1060000 (linger not set, the socket stays open) or
   * 0x10c0000 (not closed). Nothing is logged.
   */
  void deleteEndpt(void* socket) const;

  /**
   * Sends a message as one multipart ZeroMQ message, a frame per part. Never waits.
   * @param socket one of createEndpt()
   * @param msg left as it is; a message of no parts sends nothing
   * @return the number of parts, or -1 when @p socket or @p msg is null
   * @throws std::runtime_error site 0x10d0000 (no frame), 0x10b0000 (not sent: error 11 where the
   * socket cannot take it now, which makes the code 17498123) or 0x10c0000 (frame not closed);
   * frames sent by then stay sent
   */
  int send(void* socket, Message* msg) const;

  /**
   * Receives a message: its frames replace the parts of @p msg, which has none when nothing comes.
   * @param socket one of createEndpt()
   * @param msg its handle and bookkeeping stay
   * @param timeout milliseconds; -1 waits for ever, 0 does not wait
   * @return the number of parts; 0 when nothing came in time or a signal ended the wait (one that
   * comes just before the wait is a failure: site 0x10e0000, error 4); -1, with
   * @p msg untouched, when @p socket or @p msg is null or @p timeout is below -1
   * @throws std::runtime_error site 0x10e0000 (not received), 0x10f0000 (end of message not
   * known) or 0x10c0000 (frame not closed); parts received by then stay in @p msg
   */
  int receive(void* socket, Message* msg, long timeout) const;

  /**
   * Waits until one of several sockets is ready.
   * @param items records whose `socket` is a ZeroMQ socket; their `revents` are written
   * @param count 1 to 16
   * @param timeout milliseconds; -1 waits for ever, 0 does not wait
   * @return the number of records with events, 0 when time is up, -1 for a bad argument
   * @throws std::runtime_error site 0x1110000. Nothing is logged.
   */
  int poll(tavrik_pollitem_t* items, unsigned int count, long timeout) const;

  /**
   * @param site where the transport failed: 0x01nn0000
   * @return the site with ZeroMQ's current error number in the low 15 bits, and bit 15 set for a
   * number of ZeroMQ's own (then counted from its base)
   */
  int constructErrorCode(int site) const;

 private:
  TAVRIK_LOCAL MQWrapper();

  std::map<option_t, int> optionMap;
  void* context;

  TAVRIK_LOCAL static pthread_mutex_t MQWrapperMutex;
  TAVRIK_LOCAL static std::atomic<MQWrapper*> instance;
  TAVRIK_LOCAL static std::atomic<std::uint32_t> created;
};

}  // namespace tavrik

#endif
