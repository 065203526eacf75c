/**
 * @file
 * Enumerations, limits, the poll record and the statistics record that C, C++ and Python share. C99
 * and C++. The numbers are part of the interface.
 */
#ifndef TAVRIK_TYPES_H
#define TAVRIK_TYPES_H

#include <stdint.h>

/* In C++ the enumerations have the underlying type that a C compiler chooses for them. So C++ can
 * hold, and refuse, any integer that a C program passes. */
/** @cond */
#ifdef __cplusplus
#define TAVRIK_ENUM_TYPE : unsigned int
#else
#define TAVRIK_ENUM_TYPE
#endif
/** @endcond */

/** Bytes that a buffer for a received subject must hold: 255 characters and a NUL. */
#define SUBJECT_BUFFER_SIZE 256

/** Bytes that a buffer for a property value must hold: 255 characters and a NUL. */
#define PROPERTY_BUFFER_SIZE 256

/** Most records that one poll accepts. */
#define TAVRIK_MAX_POLL_ITEMS 16

/** The messaging pattern of a channel. */
typedef enum pattern_t TAVRIK_ENUM_TYPE {
  REQUEST_REPLY_PATTERN = 0,
  PUBLISH_SUBSCRIBE_PATTERN = 1,
  ASYNC_ROUTER_DEALER_PATTERN = 2
} pattern_t;

/** The role of an application in its channel. Each pattern accepts its own two roles. */
typedef enum role_t TAVRIK_ENUM_TYPE {
  REQ_CLIENT = 0,          /**< request/reply: connects, sends requests */
  REP_SERVER = 1,          /**< request/reply: binds, answers requests */
  PUBLISHER = 2,           /**< publish/subscribe: binds; may not receive */
  SUBSCRIBER = 3,          /**< publish/subscribe: connects; may not send */
  ASYNC_DEALER_CLIENT = 4, /**< router/dealer: connects to the client endpoint */
  ASYNC_DEALER_WORKER = 5  /**< router/dealer: connects to the worker endpoint */
} role_t;

/** The properties of a channel. Every value is text of at most 255 characters. */
typedef enum channel_prop_t TAVRIK_ENUM_TYPE {
  REQ_REP_SERVER_ENDPOINT = 0,            /**< request/reply; set, get: the server's endpoint */
  PUB_SUB_PUBLISHER_ENDPOINT = 1,         /**< publish/subscribe; set, get: a publisher endpoint */
  PUB_SUB_SUBSCRIBE_FILTER = 2,           /**< publish/subscribe; set: adds a subject filter */
  PUB_SUB_UNSUBSCRIBE_FILTER = 3,         /**< publish/subscribe; set: removes a subject filter */
  ASYNC_DEALER_CLIENT_ENDPOINT = 4,       /**< router/dealer; set, get: where clients connect */
  ASYNC_DEALER_WORKER_ENDPOINT = 5,       /**< router/dealer; set, get: where workers connect */
  ASYNC_DEALER_CLIENT_SNDHWM = 6,         /**< router/dealer client; set, get: 1 to 1000 messages */
  CHANNEL_TOS_PRIORITY = 7,               /**< every pattern; set, get: type of service, 0 to 255 */
  PUB_SUB_NEXT_PUBLISHER_ENDPOINT = 8,    /**< publish/subscribe; get: cursor over endpoints */
  PUB_SUB_SET_PUB_SNDHWM = 9,             /**< publisher; set, get: 1 to 1000 messages */
  PUB_SUB_SET_SUB_RCVHWM = 10,            /**< subscriber; set, get: 1 to 1000 messages */
  ASYNC_DEALER_NEXT_CLIENT_ENDPOINT = 11, /**< router/dealer; get: cursor over endpoints */
  CHANNEL_HEARTBEAT = 4096, /**< every pattern; set, get: ms between heartbeats, 0 to 3600000 */
  CHANNEL_MAX_MESSAGE_SIZE = 4097, /**< every pattern; set, get: bytes a frame, 0 to 2147483647 */
  CHANNEL_LINGER = 4098 /**< every pattern; set, get: ms to wait when deleted, 0 to 3600000 */
} channel_prop_t;

/** Events of a poll record, to be combined with a bitwise or. */
enum tavrik_pollevent_t {
  TAVRIK_POLLIN = 1,  /**< a message can be received without waiting */
  TAVRIK_POLLOUT = 2, /**< a message can be sent */
  TAVRIK_POLLERR = 4  /**< for plain file descriptors; a channel never reports it */
};

/** The levels of log lines. */
enum tavrik_loglevel_t { TAVRIK_LOG_DEBUG = 1, TAVRIK_LOG_INFO = 2, TAVRIK_LOG_ERROR = 3 };

/** One watched object of a poll. */
typedef struct tavrik_pollitem_t {
  /** The object to watch: a channel for `tavrik_poll` and `tavrik::channel_poll`, a pattern for
   * `tavrik::pattern_poll`, a ZeroMQ socket for the transport. Not owned. */
  void* socket;
  uint16_t events;  /**< events asked for, see ::tavrik_pollevent_t */
  uint16_t revents; /**< events that occurred; written by the poll */
} tavrik_pollitem_t;

/** A channel's traffic counters. They wrap at 2^32. */
typedef struct tavrikStatistics {
  uint32_t rcvdCount;       /**< whole messages received since monitoring began or was cleared */
  uint32_t sentCount;       /**< whole messages sent since monitoring began or was cleared */
  uint32_t connectionState; /**< reserved; always 0 */
  uint32_t connections;     /**< channels alive in this process at the moment of the call */
} tavrikStatistics;

#undef TAVRIK_ENUM_TYPE

#endif
