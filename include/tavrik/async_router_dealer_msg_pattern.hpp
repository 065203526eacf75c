/**
 * @file
 * The asynchronous router/dealer pattern: many clients, a pool of workers, and between them a proxy
 * thread of the library.
 */
#ifndef TAVRIK_ASYNC_ROUTER_DEALER_MSG_PATTERN_HPP
#define TAVRIK_ASYNC_ROUTER_DEALER_MSG_PATTERN_HPP

#include <tavrik/detail/endpoint_list.hpp>
#include <tavrik/export.h>
#include <tavrik/msg_pattern.hpp>
#include <tavrik/proxy_thread.hpp>  // for programs that include this header only

#include <atomic>
#include <string>

namespace tavrik {

class ProxyRegistry;

/**
 * A client (`ASYNC_DEALER_CLIENT`, a ZeroMQ DEALER socket with its own identity that connects to
 * the client endpoint) or a worker (`ASYNC_DEALER_WORKER`, a DEALER socket that connects to the
 * worker endpoint).
 *
 * The first worker of a channel name to connect in a process starts that name's proxy thread, which
 * forwards between a ROUTER socket bound to the worker's client endpoints and a DEALER socket bound
 * to its worker endpoint; further workers of the name share it. The proxy runs until the process
 * ends or ZeroMQ's proxy fails. After such a failure, sends and receives of the workers fail with
 * -29 until a new worker of the name connects.
 *
 * A message that a worker receives carries a reply handle. A message with that handle is sent to
 * the client that sent the request. Any worker of the name may send it.
 */
class TAVRIK_API AsyncRouterDealerMsgPattern : public MsgPattern {
 public:
  /**
   * Creates an unconnected pattern.
   * @param channelName the channel's name, not empty
   * @param channelRole `ASYNC_DEALER_CLIENT` or `ASYNC_DEALER_WORKER`
   * @throws std::logic_error -23 "Invalid Role specified", and what the base throws
   */
  AsyncRouterDealerMsgPattern(const std::string& channelName, role_t channelRole);

  /** Closes the socket. The proxy thread keeps running. */
  ~AsyncRouterDealerMsgPattern() noexcept(false) override;

  /**
   * Connects. The first worker of the name also starts the proxy.
   * @throws std::runtime_error the transport's failures; -30 "Proxy thread creation failed". The
   * proxy's sockets are then closed, and another worker can start it; on the same endpoints only
   * after ZeroMQ has released them.
   */
  void connectEndpoint() override;

  /**
   * Sets a property.
   * @param prop a common property, see MsgPattern::setProperty(); `ASYNC_DEALER_CLIENT_SNDHWM`, for
   * a client; `ASYNC_DEALER_CLIENT_ENDPOINT`, for a client the endpoint to connect to, for a worker
   * one more endpoint that the proxy binds; `ASYNC_DEALER_WORKER_ENDPOINT`, for a worker; all while
   * not connected
   * @param value its text; for the high-water mark a number from 1 to 1000; only its low 32 bits
   * are read
   * @return 0; -32, without an exception, once connected, for anything but a common property and
   * the high-water mark
   * @throws std::logic_error for a common property as MsgPattern::setProperty(); for the high-water
   * mark -23 "Invalid role with prop ASYNC_DEALER_CLIENT_SNDHWM: ", then -24 "Invalid value for
   * prop ASYNC_DEALER_CLIENT_SNDHWM: ", then -25 "channel is already connected"; for the endpoints
   * -26 "Invalid Endpoint : ", then -42 "Dealer Endpoint already set : "; for anything else -27
   * "Invalid property - cannot be set : "
   */
  int setProperty(channel_prop_t prop, const std::string& value) override;

  /**
   * Reads a property.
   * @param prop a common property; for a client `ASYNC_DEALER_CLIENT_ENDPOINT` and
   * `ASYNC_DEALER_CLIENT_SNDHWM`; for a worker `ASYNC_DEALER_WORKER_ENDPOINT` and
   * `ASYNC_DEALER_NEXT_CLIENT_ENDPOINT`, which returns the next endpoint with each call and the
   * empty text after the last
   * @return its text; an unset endpoint is the empty text, an unset high-water mark "1000"
   * @throws std::logic_error -27 "Invalid property queried"
   */
  std::string getProperty(channel_prop_t prop) override;

  /**
   * Sends a message. A worker sends to the client that the reply handle names.
   * @param msg unchanged after the call; the caller keeps ownership
   * @return the number of parts; -1 when @p msg is null
   * @throws std::logic_error for a worker -29 "Thread entry not found in proxythreads", then -28
   * "Message handle is NULL", also for a handle of another kind
   * @throws std::runtime_error the failures of connectEndpoint() and the transport
   */
  int send(Message* msg) override;

  /**
   * Receives a message. A worker's message receives the reply handle.
   * @param msg its parts, and for a worker its handle, are replaced
   * @param timeout milliseconds; -1 waits indefinitely, 0 does not wait. While not connected, 0
   * does not connect a worker, and 1 only connects.
   * @return the number of parts; 0 if nothing arrived in time; -1 when @p msg is null or @p timeout
   * is below -1
   * @throws std::logic_error for a worker -29 "Thread entry not found in proxythreads"
   * @throws std::runtime_error the failures of connectEndpoint() and the transport
   */
  int receive(Message* msg, long timeout) override;

 private:
  TAVRIK_LOCAL int setClientEndpoint(const std::string& endpoint);
  TAVRIK_LOCAL void connectClient();
  TAVRIK_LOCAL void connectWorker();
  TAVRIK_LOCAL void startProxy(ProxyRegistry& registry);
  TAVRIK_LOCAL void requireProxy();
  TAVRIK_LOCAL bool connectToReceive(long timeout);

  EndpointList clientEndpoints;
  // Whether the proxy of this name runs. Owned by the registry, which is never destroyed.
  const std::atomic<bool>* proxy = nullptr;
};

}  // namespace tavrik

#endif
