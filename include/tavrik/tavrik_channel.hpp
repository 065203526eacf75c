/**
 * @file
 * The channel, through which applications send and receive.
 *
 *     tavrik::TavrikChannel client("thermostat", REQUEST_REPLY_PATTERN, REQ_CLIENT);
 *     client.setProperty(REQ_REP_SERVER_ENDPOINT, "tcp://127.0.0.1:5555");
 *     tavrik::Message message(1);
 *     message.setPart(0, "living room");
 *     client.send("temperature", &message);
 *     char subject[SUBJECT_BUFFER_SIZE];
 *     client.receive(subject, &message, 1000);
 *
 * One thread at a time uses a channel. Different channels may be used concurrently.
 */
#ifndef TAVRIK_TAVRIK_CHANNEL_HPP
#define TAVRIK_TAVRIK_CHANNEL_HPP

#include <tavrik/export.h>
#include <tavrik/types.h>

#include <string>

namespace tavrik {

class Message;
class MsgPattern;

/**
 * A named endpoint of one pattern in one role.
 *
 * On the wire the subject is the first frame and the message's parts follow. A subject is
 * NUL-terminated text of at most 255 characters.
 *
 * A bad argument makes send(), receive(), sendBinary(), receiveBinary(), setProperty() and
 * channel_poll() return -1 without an exception. Every other failure is an exception whose text
 * decode_error() turns into the status code: those named here, and those of the pattern, the
 * message and the transport.
 */
class TAVRIK_API TavrikChannel {
 public:
  /**
   * Creates an unconnected channel.
   * @param channelName 1 to 255 characters
   * @param pattern the messaging pattern
   * @param channelRole one of the pattern's two roles
   * @throws std::logic_error -2 "Channel name cannot exceed 255 characters"; -1 "Invalid Channel
   * name specified"; -10 "Invalid Message Pattern"; "Invalid Role specified" with the pattern's
   * code: -12 request/reply, -15 publish/subscribe, -23 router/dealer
   * @throws std::runtime_error -3 "Failed to instantiate MsgPatternFactory Object" or "Failed to
   * instantiate MsgPattern Object"; -3 "Failed to instantiate MQWrapper Object"; the transport's
   * sites 0x1000000 and 0x1120000
   */
  TavrikChannel(std::string channelName, pattern_t pattern, role_t channelRole);

  /**
   * Stops monitoring and closes the socket: at once, or with `CHANNEL_LINGER` after its messages
   * have been handed to the network or the time is over. Never throws; a failure is logged.
   */
  virtual ~TavrikChannel();

  TavrikChannel(const TavrikChannel&) = delete;
  TavrikChannel& operator=(const TavrikChannel&) = delete;

  /**
   * Sends a message without waiting, connecting first.
   * @param subject at most 255 characters
   * @param msg unchanged after the call, even if it fails. Only a failure with code -5, an index
   * error of the message, leaves the subject in it.
   * @return the number of parts sent, the subject not counted; -1 when @p subject or @p msg is null
   * or @p subject is too long
   * @throws std::logic_error the pattern's refusals: -20 of a subscriber, -28 and -29 of a worker
   * @throws std::runtime_error the transport's failures: 17498123 ("zeromq:") if the socket
   * cannot queue the message now; -30 of a worker
   */
  int send(const char* subject, Message* msg);

  /**
   * Receives a message, connecting first.
   * @param subject a buffer of `SUBJECT_BUFFER_SIZE` bytes; receives the first frame up to its
   * first NUL, cut to 255 characters; not written if nothing is received
   * @param msg its parts are replaced; it has none if nothing is received
   * @param timeout milliseconds; -1 waits indefinitely, 0 does not wait
   * @return the number of parts received, the subject not counted; also 0 if nothing arrived in
   * time, and if a signal ended the wait (a signal just before the wait is a failure,
   * "zeromq:17694724"); -1 when @p subject or @p msg is null or @p timeout is below -1
   * @throws std::logic_error the pattern's refusals: -21 of a publisher, -29 of a worker
   * @throws std::runtime_error the transport's failures; -30 of a worker
   */
  int receive(char* subject, Message* msg, long timeout);

  /**
   * Sends one part without a reply handle. A worker's call therefore fails with -28.
   * @param subject at most 255 characters
   * @param data bytes, zero bytes included; copied
   * @param size how many
   * @return 1; -1 when @p subject or @p data is null or @p subject is too long
   * @throws as send()
   */
  int sendBinary(const char* subject, void* data, unsigned int size);

  /**
   * Receives a message and returns its last part. Other parts and the reply handle are dropped.
   * @param subject as for receive()
   * @param data receives a buffer that the caller releases with `free`; not written if nothing is
   * received
   * @param size receives the buffer's size in bytes; not written if nothing is received
   * @param timeout as for receive()
   * @return as receive(); also -1 when @p data or @p size is null
   * @throws std::runtime_error -3 "Failed to receive message"; -3 "Failed to allocate memory to
   * buffer", with `*data` null; and as receive()
   */
  int receiveBinary(char* subject, void** data, unsigned int* size, long timeout);

  /**
   * Sets a property. The pattern decides which properties exist, for which role and when.
   * @param prop which
   * @param value at most 255 characters
   * @return 0; -1 when @p value is too long, and what the pattern returns
   * @throws std::logic_error the pattern's refusals
   * @throws std::runtime_error the transport's failures, if setting the property connects
   */
  int setProperty(channel_prop_t prop, std::string value);

  /**
   * Reads a property.
   * @param prop which
   * @return its text
   * @throws std::logic_error the pattern's refusals
   */
  std::string getProperty(channel_prop_t prop);

  /**
   * Starts counting this channel's messages.
   * @throws std::runtime_error -6 "Channel entry already exists in channel_list"
   */
  void initializeStatsMonitoring();

  /**
   * Reads the counters.
   * @param stats written on success
   * @throws std::runtime_error -1 "Input parameter is NULL"; -8 "The channel is not being
   * monitored"
   */
  void getTavrikStats(tavrikStatistics* stats);

  /**
   * Sets the counters to 0.
   * @throws std::runtime_error -8 "The channel is not being monitored"
   */
  void clearTavrikStats();

  /**
   * Stops counting.
   * @throws std::runtime_error -7 "Channel entry not found in channel_list"
   */
  void stopStatsMonitoring();

  /** @return the channel's name */
  const std::string& getName() const;

  /** @return the channel's pattern */
  pattern_t getPattern() const;

  /** @return the channel's role */
  role_t getRole() const;

 private:
  friend class TavrikStats;
  friend struct TestPeer;
  friend int channel_poll(tavrik_pollitem_t* items, unsigned int count, long timeout);

  std::string name;
  pattern_t patternType;
  role_t role;
  MsgPattern* msgPattern = nullptr;  // owned; not a smart pointer because its destructor may throw
};

/**
 * Waits until one of several channels is ready. Channels that are not connected connect first.
 * @param items records whose `socket` is a `TavrikChannel*`; only their `revents` are written
 * @param count 1 to 16
 * @param timeout milliseconds; -1 waits indefinitely, 0 does not wait
 * @return the number of records with events, 0 when the time-out expires, -1 for a bad argument
 * @throws std::runtime_error -1 "TavrikChannel object being passed is NULL" or "MsgPattern object
 * being passed is NULL"; -3 "channel_poll() Operation NOT permitted for PUBLISHER"; -4 "Failed to
 * poll on TavrikChannel"; -30 "Proxy thread creation failed"; the transport's failures. Nothing is
 * logged.
 */
TAVRIK_API int channel_poll(tavrik_pollitem_t* items, unsigned int count, long timeout);

}  // namespace tavrik

#endif
