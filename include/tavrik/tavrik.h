/**
 * @file
 * The C interface: channels, messages, logging and memory routines. C99; also usable from C++.
 *
 * Conventions, for every function that does not say otherwise:
 *
 * - Channels, messages and reply handles are opaque pointers. The caller owns what a `create`,
 *   `copy` or `getHandle` function returns and releases it with the matching `delete` or `free`
 *   function. The caller keeps ownership of every argument; the library copies what it keeps.
 * - A function that returns `int` returns 0 or a count on success and a negative status on failure:
 *   -1 for an argument refused before any work was done, -3 on allocation failure, and any other
 *   negative number for a failure of a channel, a message or the transport. Codes from -2 to -44
 *   are the library's own. Codes of -16777216 and below are the transport's: negate the code, and
 *   the high 16 bits are the place of the failure and the low 15 bits the error number. If bit 15
 *   is set, the error number is counted from ZeroMQ's base. A function that returns a pointer
 *   returns NULL on failure.
 * - Refused arguments and allocation failures are not logged here. Every other failure is logged,
 *   at debug level or, where the function says so, at error level.
 * - No exception derived from `std::exception` leaves a function.
 * - One thread at a time uses a channel or message. Different ones may be used concurrently.
 * - Names, subjects and property values are NUL-terminated and at most 255 characters long.
 * - Time-outs are in milliseconds: -1 waits indefinitely, 0 does not wait.
 *
 * A program installs its log function and memory routines before anything else, creates channels
 * with tavrik_createChannel(), configures them with tavrik_setProperty(), exchanges messages, and
 * deletes the channels with tavrik_deleteChannel().
 */
#ifndef TAVRIK_TAVRIK_H
#define TAVRIK_TAVRIK_H

#include <tavrik/export.h>
#include <tavrik/types.h>
#include <tavrik/version.h>

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
namespace tavrik {
class TavrikChannel;
class Message;
class MsgHandle;
}  // namespace tavrik
typedef tavrik::TavrikChannel tavrik_channel_t;  ///< a channel
typedef tavrik::Message tavrik_message_t;        ///< a multipart message
typedef tavrik::MsgHandle tavrik_msghandle_t;    ///< a reply handle
extern "C" {
#else
typedef struct tavrik_channel_t tavrik_channel_t;     /**< a channel */
typedef struct tavrik_message_t tavrik_message_t;     /**< a multipart message */
typedef struct tavrik_msghandle_t tavrik_msghandle_t; /**< a reply handle */
#endif

/**
 * @name Channels
 * @{
 */

/**
 * Creates an unconnected channel.
 * @param name 1 to 255 characters
 * @param pattern the messaging pattern
 * @param role one of the pattern's two roles
 * @return the channel, to be released with tavrik_deleteChannel(). NULL if the name is NULL or too
 * long, and on allocation failure. NULL, logged at error level, if the name is empty or the pattern
 * or role is unknown.
 */
TAVRIK_API tavrik_channel_t* tavrik_createChannel(const char* name, pattern_t pattern, role_t role);

/**
 * Closes a channel's socket and destroys the channel. Messages that are sent but not yet handed to
 * the network are dropped at once. With `CHANNEL_LINGER` the call waits for them, at most that
 * long, and then drops the rest. A failure is logged; the channel is destroyed in any case.
 * @param channel NULL is ignored
 */
TAVRIK_API void tavrik_deleteChannel(tavrik_channel_t* channel);

/**
 * Sets a property. The pattern and the role decide which properties exist. Setting an endpoint
 * connects a publish/subscribe channel; the endpoint counts as set even if the transport fails.
 * @param channel the channel
 * @param prop which
 * @param value at most 255 characters
 * @return 0; -1 when @p channel or @p value is NULL and when @p value is too long; -3; for the type
 * of service -9 (out of range) and -11 (connected); for the heartbeat, the largest frame and the
 * linger -43 (out of range) and -44 (connected); of request/reply -1 (connected), -13 (endpoint
 * with a `*`) and -14 (no such property); of publish/subscribe -15 (publisher with an endpoint; the
 * other role's high-water mark), -16 (endpoint with a `*`), -17 (filter already set), -18 (filter
 * not set), -19 (no such property), -38 (subscriber with this endpoint), -39 and -40 (a
 * publisher's, a subscriber's high-water mark out of range), -41 (high-water mark set after
 * connecting) and the transport's failures; of router/dealer -23 (the other role's high-water
 * mark), -24 (high-water mark out of range), -25 (high-water mark set after connecting), -26
 * (endpoint with a `*`), -27 (no such property), -32 (connected) and -42 (worker with this client
 * endpoint)
 */
TAVRIK_API int tavrik_setProperty(tavrik_channel_t* channel, channel_prop_t prop,
                                  const char* value);

/**
 * Reads a property.
 * @param channel the channel
 * @param prop which
 * @param value receives at most 255 characters and a NUL: a buffer of `PROPERTY_BUFFER_SIZE` bytes
 * @return 0; -1 when @p channel or @p value is NULL; -14, -19 or -27 when the pattern or the role
 * has no such property or it cannot be read; -3
 */
TAVRIK_API int tavrik_getProperty(tavrik_channel_t* channel, channel_prop_t prop, char* value);

/**
 * Sends a message of text parts, without waiting.
 * @param channel the channel
 * @param subject at most 255 characters
 * @param nparts how many arguments follow, each a `const char*`; 0 sends the subject alone
 * @return the number of parts sent; -1 when @p channel or @p subject is NULL, @p subject is too
 * long or @p nparts is negative; -33 when a part is NULL; -3; the transport's failures, -17498123
 * among them when the message cannot be queued; -20 for a subscriber; -28 for a worker, whose
 * messages need a reply handle, -29 when its proxy has ended and -30 when its proxy cannot be
 * started
 */
TAVRIK_API int tavrik_send(tavrik_channel_t* channel, const char* subject, int nparts, ...);

/**
 * Sends a message, without waiting.
 * @param channel the channel
 * @param subject at most 255 characters
 * @param msg unchanged after the call; the caller keeps ownership
 * @return the number of parts sent; -1 when an argument is NULL or @p subject is too long; -3; the
 * transport's failures, -17498123 among them when the message cannot be queued; -20 for a
 * subscriber; for a worker -28 when @p msg has no reply handle, -29 when its proxy has ended and
 * -30 when its proxy cannot be started
 */
TAVRIK_API int tavrik_sendmsg(tavrik_channel_t* channel, const char* subject,
                              tavrik_message_t* msg);

/**
 * Receives a message.
 * @param channel the channel
 * @param subject receives at most 255 characters and a NUL: a buffer of `SUBJECT_BUFFER_SIZE`
 * bytes; not written if nothing is received
 * @param msg its parts are replaced; it has none if nothing is received. A worker's message also
 * receives the reply handle. After a failure inside a message, the next receive or poll discards
 * the rest of that message; a server also replies to it with one empty frame.
 * @param timeout milliseconds, -1 or more. On an unconnected router/dealer channel 1 only connects,
 * and 0 leaves a worker unconnected.
 * @return the number of parts received, 0 also if nothing arrived in time; -1 when an argument is
 * NULL or @p timeout is below -1; -3; the transport's failures; -21 for a publisher; for a worker
 * -29 when its proxy has ended and -30 when its proxy cannot be started. A signal during the wait
 * gives 0, a signal just before the wait -17694724.
 */
TAVRIK_API int tavrik_receivemsg(tavrik_channel_t* channel, char* subject, tavrik_message_t* msg,
                                 long timeout);

/**
 * Sends one binary part, without waiting.
 * @param channel the channel
 * @param subject at most 255 characters
 * @param data the bytes; copied
 * @param length how many
 * @return 1; -1 when an argument is NULL or @p subject is too long; -3; otherwise as tavrik_send()
 */
TAVRIK_API int tavrik_sendBinary(tavrik_channel_t* channel, const char* subject, void* data,
                                 unsigned int length);

/**
 * Receives a message and returns its last part. Other parts and the reply handle are dropped.
 * @param channel the channel
 * @param subject as for tavrik_receivemsg()
 * @param data receives a buffer that the caller releases with `free`
 * @param length receives the buffer's size in bytes
 * @param timeout milliseconds, -1 or more
 * @return the number of parts received; 0 if there was none or nothing arrived in time, and then
 * @p data and @p length are not written; -1 when an argument is NULL or @p timeout is below -1; -3;
 * otherwise as tavrik_receivemsg()
 */
TAVRIK_API int tavrik_receiveBinary(tavrik_channel_t* channel, char* subject, void** data,
                                    unsigned int* length, long timeout);

/**
 * Starts counting a channel's messages.
 * @param channel the channel
 * @return 0; -1 when @p channel is NULL; -6 when it is already being monitored; -3
 */
TAVRIK_API int tavrik_initializeStatsMonitoring(tavrik_channel_t* channel);

/**
 * Reads a channel's counters.
 * @param channel the channel
 * @param stats written on success
 * @return 0; -1 when an argument is NULL; -8 when the channel is not being monitored; -3
 */
TAVRIK_API int tavrik_getTavrikStats(tavrik_channel_t* channel, tavrikStatistics* stats);

/**
 * Sets a channel's counters to 0.
 * @param channel the channel
 * @return 0; -1 when @p channel is NULL; -8 when it is not being monitored; -3
 */
TAVRIK_API int tavrik_clearTavrikStats(tavrik_channel_t* channel);

/**
 * Stops counting a channel's messages.
 * @param channel the channel
 * @return 0; -1 when @p channel is NULL; -7 when it is not being monitored; -3
 */
TAVRIK_API int tavrik_stopStatsMonitoring(tavrik_channel_t* channel);

/**
 * Waits until one of several channels is ready; those that are not connected yet connect first.
 * Failures are not logged here.
 * @param items records whose `socket` is a channel; their `revents` are written
 * @param count 1 to 16
 * @param timeout milliseconds, -1 or more
 * @return the number of records with events, 0 when the time-out expires; -1 for a bad argument and
 * for a record without a channel; -3 for a publisher, and on allocation failure; -4; -30
 * when a worker's proxy cannot be started; the transport's failures, among them that of a signal
 * during the wait (-17891332: site 0x1110000, error 4)
 */
TAVRIK_API int tavrik_poll(tavrik_pollitem_t* items, unsigned int count, long timeout);

/**
 * Copies a channel's name. A failure is logged at error level.
 * @param channel not checked for NULL
 * @param name receives at most @p size - 1 characters and a NUL; not checked for NULL
 * @param size at least 1; not checked
 * @return 0; -3
 */
TAVRIK_API int tavrik_getChannelName(tavrik_channel_t* channel, char* name, int size);

/**
 * Tells a channel's role.
 * @param channel not checked for NULL
 * @return the role that it was created with
 */
TAVRIK_API role_t tavrik_getChannelRole(tavrik_channel_t* channel);

/**
 * Tells a channel's pattern.
 * @param channel not checked for NULL
 * @return the pattern that it was created with
 */
TAVRIK_API pattern_t tavrik_getChannelPattern(tavrik_channel_t* channel);

/**
 * Releases a reply handle.
 * @param handle one of tavrik_getHandle(); NULL is ignored
 */
TAVRIK_API void tavrik_freeMsgHandle(const tavrik_msghandle_t* handle);

/**
 * @}
 * @name Messages
 *
 * A part is a byte string. The "Bin" functions take a length, so a part may hold NUL bytes; the
 * others take NUL-terminated text. Part indices count from 0.
 *
 * A message has a reference count. tavrik_createMessage() takes one reference.
 * tavrik_deleteMessage() drops one and destroys the message if none is left. A copy starts with no
 * reference.
 * @{
 */

/**
 * Creates a message that holds one reference.
 * @param nparts how many empty parts it has
 * @return the message; NULL on failure, which is logged at error level unless it is an allocation
 * failure
 */
TAVRIK_API tavrik_message_t* tavrik_createMessage(unsigned int nparts);

/**
 * Drops one reference and destroys the message if none is left.
 * @param msg NULL is ignored
 */
TAVRIK_API void tavrik_deleteMessage(tavrik_message_t* msg);

/**
 * Copies a message: its parts and its reply handle.
 *
 * The copy holds no reference. Take one before deleting it:
 *
 *     tavrik_deferMsgFree(copy, 1);
 *     tavrik_deleteMessage(copy);
 *
 * @param msg not checked for NULL
 * @param nparts parts to reserve; the copy has those of @p msg in any case
 * @return the copy; NULL on failure, which is logged at error level unless it is an allocation
 * failure
 */
TAVRIK_API tavrik_message_t* tavrik_copyMessage(const tavrik_message_t* msg, unsigned int nparts);

/**
 * Counts the parts.
 * @param msg the message
 * @return their number; -1 when @p msg is NULL; -3; -36 for any other failure
 */
TAVRIK_API int tavrik_getnumParts(tavrik_message_t* msg);

/**
 * Changes the number of parts: adds empty ones at the end, or drops the last ones.
 * @param msg the message
 * @param nparts the new number
 * @return 0; -1 when @p msg is NULL; -3
 */
TAVRIK_API int tavrik_setnumParts(tavrik_message_t* msg, unsigned int nparts);

/**
 * Measures a part.
 * @param msg the message
 * @param index less than the number of parts
 * @return its length in bytes; -1 when @p msg is NULL; -3; -34 for any other failure, such as a bad
 * index
 */
TAVRIK_API int tavrik_getPartlength(tavrik_message_t* msg, unsigned int index);

/**
 * Copies a part as text, up to its first NUL.
 * @param msg the message
 * @param index less than the number of parts
 * @param buffer receives the text and a NUL: tavrik_getPartlength() + 1 bytes are enough
 * @return 0; -1 when @p msg or @p buffer is NULL; -3; -35 for any other failure, such as a bad
 * index
 */
TAVRIK_API int tavrik_getPart(tavrik_message_t* msg, unsigned int index, char* buffer);

/**
 * Replaces a part by text.
 * @param msg the message
 * @param index less than the number of parts
 * @param text NUL-terminated; copied
 * @return 0; -1 when @p msg or @p text is NULL; -5 for a bad index; -3
 */
TAVRIK_API int tavrik_setPart(tavrik_message_t* msg, unsigned int index, const char* text);

/**
 * Copies a part's bytes.
 * @param msg the message
 * @param index less than the number of parts
 * @param buffer of tavrik_getPartlength() bytes
 * @return 0; -1 when @p msg or @p buffer is NULL; -5 for a bad index; -34 for a part longer than
 * `INT_MAX` bytes; -3
 */
TAVRIK_API int tavrik_getBinPart(tavrik_message_t* msg, unsigned int index, void* buffer);

/**
 * Replaces a part by bytes. A failure is logged at error level.
 * @param msg the message
 * @param index less than the number of parts
 * @param data the bytes; copied
 * @param length how many
 * @return 0; -1 when @p msg or @p data is NULL; -5 for a bad index; -3
 */
TAVRIK_API int tavrik_setBinPart(tavrik_message_t* msg, unsigned int index, const void* data,
                                 unsigned int length);

/**
 * Inserts text as a new part.
 * @param msg the message
 * @param index inserts before this part; the number of parts appends
 * @param text NUL-terminated; copied
 * @return 0; -1 when @p msg or @p text is NULL; -5 for a bad index; -3
 */
TAVRIK_API int tavrik_insertPart(tavrik_message_t* msg, unsigned int index, const char* text);

/**
 * Inserts bytes as a new part. A failure is logged at error level.
 * @param msg the message
 * @param index inserts before this part; the number of parts appends
 * @param data the bytes; copied
 * @param length how many
 * @return 0; -1 when @p msg or @p data is NULL; -5 for a bad index; -3
 */
TAVRIK_API int tavrik_insertBinPart(tavrik_message_t* msg, unsigned int index, const void* data,
                                    unsigned int length);

/**
 * Removes a part; later parts move down by one.
 * @param msg the message
 * @param index less than the number of parts
 * @return 0; -1 when @p msg is NULL; -5 for a bad index; -3
 */
TAVRIK_API int tavrik_removePart(tavrik_message_t* msg, unsigned int index);

/**
 * Copies the message's reply handle.
 * @param msg the message
 * @return the copy, to be released with tavrik_freeMsgHandle(); NULL when @p msg is NULL, when it
 * carries no handle, and on failure, which is logged at error level unless it is an allocation
 * failure
 */
TAVRIK_API const tavrik_msghandle_t* tavrik_getHandle(tavrik_message_t* msg);

/**
 * Stores a copy of a reply handle in the message.
 * @param msg the message
 * @param handle the caller keeps ownership; NULL removes the message's handle
 * @return 0; -1 when @p msg is NULL; -3
 */
TAVRIK_API int tavrik_setHandle(tavrik_message_t* msg, const tavrik_msghandle_t* handle);

/**
 * Keeps a message alive through one more tavrik_deleteMessage(). A failure is logged at error
 * level.
 * @param msg the message
 * @param defer non-zero takes one more reference; 0 only clears the message's defer-free flag
 * @return 0; -1 when @p msg is NULL and for any failure but -3
 */
TAVRIK_API int tavrik_deferMsgFree(tavrik_message_t* msg, int defer);

/**
 * @}
 * @name Logging
 * @{
 */

/** A log function. The level is one of ::tavrik_loglevel_t. The text is valid during the call. */
typedef void (*tavrik_logfn_t)(int level, const char* text);

/**
 * Replaces the log function of the process. Any thread may call it. It may use the library, but
 * must not connect a router/dealer worker. It can be replaced while other threads use the library:
 * each line goes to one of the two functions, and a call of the old one may still be running when
 * this returns.
 * @param logfn NULL drops every line
 */
TAVRIK_API void tavrik_Install_Logfn(tavrik_logfn_t logfn);

/**
 * The default log function. Writes to the system log, at priority `LOG_DEBUG`,
 * `LOG_INFO` or `LOG_ERR` for level 1, 2 or 3 and `LOG_INFO` for any other.
 * @param level see ::tavrik_loglevel_t
 * @param text the line
 */
TAVRIK_API void syslog_Logfn(int level, const char* text);

/**
 * @}
 * @name Memory routines
 *
 * A program may install its own allocation routines. The three functions below use them, and so
 * does ZeroMQ if its build supports that. Neither the table nor the counters are synchronised:
 * install the routines before creating the first channel. Release blocks with `free`, or with the
 * function that belongs to the installed routines.
 * @{
 */

/** Allocation routines with the arguments and results of `malloc`, `calloc` and `realloc`.
 */
typedef struct tavrik_mm_routines_t {
  void* (*malloc_routine)(size_t);         /**< the size in bytes */
  void* (*calloc_routine)(size_t, size_t); /**< a count and the size of each; zeroed */
  void* (*realloc_routine)(void*, size_t); /**< a block and its new size */
} tavrik_mm_routines_t;

/** The installed routines. A NULL entry means the C library's routine. */
extern TAVRIK_API tavrik_mm_routines_t tavrik_mm_routines;

extern TAVRIK_API uint32_t tavrikmalloccount;  /**< calls of tavrik_malloc() */
extern TAVRIK_API uint32_t tavrikcalloccount;  /**< calls of tavrik_calloc() */
extern TAVRIK_API uint32_t tavrikrealloccount; /**< calls of tavrik_realloc() */

/**
 * Allocates through the installed routine.
 * @param size bytes; not checked
 * @return what the routine returns
 */
TAVRIK_API void* tavrik_malloc(size_t size);

/**
 * Allocates a zeroed array through the installed routine.
 * @param count elements; not checked
 * @param size bytes of each; not checked
 * @return what the routine returns
 */
TAVRIK_API void* tavrik_calloc(size_t count, size_t size);

/**
 * Resizes a block through the installed routine.
 * @param block a block from these functions, or NULL; not checked
 * @param size its new size in bytes; not checked
 * @return what the routine returns
 */
TAVRIK_API void* tavrik_realloc(void* block, size_t size);

/**
 * Installs routines, and passes the library's table to ZeroMQ.
 * @param routines copied; a NULL entry keeps the installed routine; not checked for NULL
 * @return what ZeroMQ returns; 0 if its build takes no routines
 */
TAVRIK_API int tavrik_Install_mm_routines(const tavrik_mm_routines_t* routines);

/** @} */

#ifdef __cplusplus
}
#endif

#endif
