/**
 * @file
 * Counts the messages of each monitored channel, and the channels that exist.
 *
 * Applications reach it through the statistics members of tavrik::TavrikChannel. Every member may
 * be called from any thread.
 */
#ifndef TAVRIK_TAVRIK_STATS_HPP
#define TAVRIK_TAVRIK_STATS_HPP

#include <tavrik/export.h>
#include <tavrik/types.h>

#include <pthread.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <vector>

namespace tavrik {

class TavrikChannel;

/**
 * The statistics registry of the process.
 *
 * Failures are `std::runtime_error`. A null argument is code -1, "Input parameter is NULL" unless
 * the member says otherwise.
 */
class TAVRIK_API TavrikStats {
 public:
  /** @return the registry, which lives until the process ends */
  static TavrikStats* getInstance();

  TavrikStats(const TavrikStats&) = delete;
  TavrikStats& operator=(const TavrikStats&) = delete;

  /**
   * Starts monitoring a channel, its counters at 0.
   * @param channel the caller keeps ownership and removes the channel before destroying it
   * @throws std::runtime_error -1; -6 "Channel entry already exists in channel_list"
   */
  void insertChannel(TavrikChannel* channel);

  /**
   * Stops monitoring a channel and drops its counters.
   * @param channel one that is being monitored
   * @throws std::runtime_error -1; -7 "Channel entry not found in channel_list"
   */
  void removeChannel(TavrikChannel* channel);

  /**
   * Tells whether a channel is being monitored.
   * @param channel any channel, or null, which never is
   * @return whether it is
   */
  bool isBeingMonitored(TavrikChannel* channel);

  /**
   * Counts one received message for every monitored channel that uses the socket, if there is any.
   * @param socket the ZeroMQ socket
   * @throws std::runtime_error -1
   */
  void incrementRcvdCount(void* socket);

  /**
   * Counts one sent message for every monitored channel that uses the socket, if there is any.
   * @param socket the ZeroMQ socket
   * @throws std::runtime_error -1
   */
  void incrementSentCount(void* socket);

  /**
   * Sets the connection state of the channels that use a socket to 0. The library does not
   * call it.
   * @param socket the ZeroMQ socket
   * @throws std::runtime_error -1
   */
  void updateConnectionState(void* socket);

  /**
   * Reads a channel's counters.
   * @param channel one that is being monitored
   * @param out written only on success
   * @throws std::runtime_error -1; -8 "The channel is not being monitored"
   */
  void getTavrikStats(TavrikChannel* channel, tavrikStatistics* out);

  /**
   * Sets a channel's counters to 0.
   * @param channel one that is being monitored
   * @throws std::runtime_error -1 "Channel instance is NULL"; -8 "The channel is not being
   * monitored"
   */
  void clearTavrikStats(TavrikChannel* channel);

  /** Adds one to the count of existing channels. */
  void incrementConnections();

  /** Subtracts one from the count of existing channels. */
  void decrementConnections();

 private:
  struct channelStats;

  TAVRIK_LOCAL TavrikStats();
  ~TavrikStats() = default;

  std::atomic<std::uint32_t> connections{0};
  // Never freed: other threads may still send and receive while the process exits.
  std::vector<std::unique_ptr<channelStats>>& channel_list;

  TAVRIK_LOCAL static pthread_mutex_t channel_listmutex;
};

}  // namespace tavrik

#endif
