/**
 * @file
 * The thread that forwards between the clients and the workers of a router/dealer channel.
 *
 * Applications do not call these functions: the library starts a proxy thread when the first worker
 * of a channel name connects.
 */
#ifndef TAVRIK_PROXY_THREAD_HPP
#define TAVRIK_PROXY_THREAD_HPP

#include <tavrik/export.h>

#include <sys/time.h>

namespace tavrik {

/**
 * The body of a proxy thread. It forwards until ZeroMQ's proxy fails, removes the proxy from the
 * registry of running proxies and logs that it ended. It does not close its two sockets.
 * @param arg the start record, allocated with `malloc`; freed before forwarding starts. Null is
 * ignored.
 * @return null
 */
TAVRIK_API void* proxythreadfun(void* arg);

/**
 * Subtracts two times.
 * @param result receives @p x - @p y in seconds and microseconds, both truncated toward zero
 * @param x the later time
 * @param y the earlier time
 * @return 1 if the difference is negative, otherwise 0
 */
TAVRIK_API int timeval_subtract(timeval* result, timeval* x, timeval* y);

}  // namespace tavrik

#endif
