/**
 * @file
 * The asynchronous router/dealer pattern: many clients, a pool of workers, and between them a proxy
 * thread that the library runs.
 */
#ifndef TAVRIK_ASYNC_ROUTER_DEALER_MSG_PATTERN_HPP
#define TAVRIK_ASYNC_ROUTER_DEALER_MSG_PATTERN_HPP

#include <tavrik/endpoint_list.hpp>
#include <tavrik/export.h>
#include <tavrik/msg_pattern.hpp>

#include <pthread.h>
#include <sys/time.h>

#include <map>
#include <string>

namespace tavrik {

struct ProxyRecord;

/**
 * A client (`ASYNC_DEALER_CLIENT`, a ZeroMQ DEALER socket with an identity of its own that connects
 * to the client endpoint) or a worker (`ASYNC_DEALER_WORKER`, a DEALER socket that connects to the
 * worker endpoint).
 *
 * The first worker of a channel name to connect in a process starts that name's proxy thread, which
 * forwards between a ROUTER socket bound to the worker's client endpoints and a DEALER socket bound
 * to its worker endpoint; further workers of the name share it. The proxy runs until the process
 * ends or ZeroMQ fails it; then sends and receives of the workers fail with -29 until a new worker
 * of the name connects.
 *
 * A message that a worker receives carries a reply handle, and a message that carries it goes back
 * to the client that asked. Any worker of the name may send it.
 */
class TAVRIK_API AsyncRouterDealerMsgPattern : public MsgPattern {
 public:
  /**
   * Makes an unconnected pattern.
   * @param channelName the channel's name, not empty
   * @param channelRole `ASYNC_DEALER_CLIENT` or `ASYNC_DEALER_WORKER`
   * @throws std::logic_error -23 "Invalid Role specified", and what the base throws
   */
  AsyncRouterDealerMsgPattern(const std::string& channelName, role_t channelRole);

  /** Closes the socket. The proxy thread goes on. */
  ~AsyncRouterDealerMsgPattern() noexcept(false) override;

  /**
   * Connects, and for the first worker of the name starts the proxy.
   * @throws std::runtime_error the transport's failures; -30 "Proxy thread creation failed". What
   * was made for the proxy is released then, and another worker can start it; on the same
   * endpoints a moment later, when ZeroMQ has let them go.
   */
  void connectEndpoint() override;

  /**
   * Sets a property.
   * @param prop `CHANNEL_TOS_PRIORITY`; `ASYNC_DEALER_CLIENT_SNDHWM`, for a client;
   * `ASYNC_DEALER_CLIENT_ENDPOINT`, for a client the one that it connects to, for a worker one more
   * that the proxy binds; `ASYNC_DEALER_WORKER_ENDPOINT`, for a worker; all while not connected
   * @param value its text; for the mark a number from 1 to 1000, of which only the low 32 bits are
   * looked at
   * @return 0; -32, without an exception, once connected, for anything but the type of service and
   * the mark
   * @throws std::logic_error -9 and -11 as setTosPropVal(); for the mark -23 "Invalid role with
   * prop ASYNC_DEALER_CLIENT_SNDHWM: ", then -24 "Invalid value for prop
   * ASYNC_DEALER_CLIENT_SNDHWM: ", then -25 "channel is already connected"; for the endpoints -26
   * "Invalid Endpoint : ", then -42 "Dealer Endpoint already set : "; for anything else -27
   * "Invalid property - cannot be set : "
   */
  int setProperty(channel_prop_t prop, const std::string& value) override;

  /**
   * Reads a property.
   * @param prop `CHANNEL_TOS_PRIORITY`; for a client `ASYNC_DEALER_CLIENT_ENDPOINT` and
   * `ASYNC_DEALER_CLIENT_SNDHWM`; for a worker `ASYNC_DEALER_WORKER_ENDPOINT` and
   * `ASYNC_DEALER_NEXT_CLIENT_ENDPOINT`, which reads another with each call and the empty text
   * behind the last
   * @return its text; an unset endpoint is the empty text, an unset mark "1000"
   * @throws std::logic_error -27 "Invalid property queried"
   */
  std::string getProperty(channel_prop_t prop) override;

  /**
   * Sends a message; a worker's to the client that its reply handle names.
   * @param msg stays the caller's and is the same afterwards
   * @return the number of parts; -1 when @p msg is null
   * @throws std::logic_error for a worker -29 "Thread entry not found in proxythreads", then -28
   * "Message handle is NULL", also for a handle of another kind
   * @throws std::runtime_error the failures of connectEndpoint() and the transport
   */
  int send(Message* msg) override;

  /**
   * Receives a message; a worker's gets the handle to reply by.
   * @param msg its parts, and for a worker its handle, are replaced
   * @param timeout milliseconds; -1 waits for ever, 0 does not wait. While not connected, 0 does
   * not connect a worker, and 1 only connects.
   * @return the number of parts; 0 when nothing came in time; -1 when @p msg is null or @p timeout
   * is below -1
   * @throws std::logic_error for a worker -29 "Thread entry not found in proxythreads"
   * @throws std::runtime_error the failures of connectEndpoint() and the transport
   */
  int receive(Message* msg, long timeout) override;

 private:
  friend TAVRIK_API void* proxythreadfun(void* arg);

  TAVRIK_LOCAL int setClientEndpoint(const std::string& endpoint);
  TAVRIK_LOCAL void connectClient();
  TAVRIK_LOCAL void connectWorker();
  TAVRIK_LOCAL void startProxy();
  TAVRIK_LOCAL void requireProxy();
  TAVRIK_LOCAL bool connectToReceive(long timeout);

  EndpointList clientEndpoints;
  const ProxyRecord* proxy = nullptr;  // not owned; lives until the process ends

  // On the heap and never freed: proxy threads run until the process is gone.
  TAVRIK_LOCAL static std::map<std::string, unsigned long>& proxythreads;
  TAVRIK_LOCAL static pthread_mutex_t proxymutex;
};

/**
 * The body of a proxy thread: forwards until ZeroMQ fails it, takes the proxy out of the registry
 * and logs that it ended. The sockets stay open.
 * @param arg the start record, made with `malloc`; freed. Null is ignored.
 * @return null
 */
TAVRIK_API void* proxythreadfun(void* arg);

/**
 * Subtracts times.
 * @param result gets @p x - @p y in seconds and microseconds, both truncated toward zero
 * @param x the later time
 * @param y the earlier time
 * @return 1 when the difference is negative, else 0
 */
TAVRIK_API int timeval_subtract(timeval* result, timeval* x, timeval* y);

}  // namespace tavrik

#endif
