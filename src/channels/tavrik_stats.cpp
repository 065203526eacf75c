// The statistics registry. Only this file knows both the transport's sockets and the channels that
// own them.
#include <core/failure.hpp>
#include <tavrik/msg_pattern.hpp>
#include <tavrik/mutex_ra.hpp>
#include <tavrik/tavrik_channel.hpp>
#include <tavrik/tavrik_stats.hpp>

#include <algorithm>

namespace tavrik {

// A monitored channel. The channel removes its entry before it is destroyed.
struct TavrikStats::channelStats {
  const TavrikChannel* channel;
  std::uint32_t received = 0;
  std::uint32_t sent = 0;
  std::uint32_t connectionState = 0;

  explicit channelStats(const TavrikChannel* monitored) : channel(monitored) {}

  bool uses(const void* socket) const { return channel->msgPattern->socket == socket; }
};

namespace {

template <class List>
auto findChannel(List& list, const TavrikChannel* channel) {
  return std::find_if(list.begin(), list.end(),
                      [&](const auto& entry) { return entry->channel == channel; });
}

// Runs the action on every entry of the channel. Throws if there is none.
template <class List, class Action>
void forChannel(List& list, const TavrikChannel* channel, Action action) {
  bool found = false;
  for (const auto& entry : list) {
    if (entry->channel != channel) continue;
    action(*entry);
    found = true;
  }
  if (!found) fail(failures::channelNotMonitored);
}

// Runs the action on every entry whose channel uses the socket. There may be none.
template <class List, class Action>
void forSocket(List& list, const void* socket, Action action) {
  if (socket == nullptr) fail(failures::inputParameterNull);
  for (const auto& entry : list) {
    if (entry->uses(socket)) action(*entry);
  }
}

}  // namespace

pthread_mutex_t TavrikStats::channel_listmutex = PTHREAD_MUTEX_INITIALIZER;

TavrikStats* TavrikStats::getInstance() {
  static TavrikStats stats;
  return &stats;
}

TavrikStats::TavrikStats() : channel_list(*new std::vector<std::unique_ptr<channelStats>>) {}

// Every member releases the lock before it logs a failure: the application's log function may call
// these members.

void TavrikStats::insertChannel(TavrikChannel* channel) {
  logged("Error : Tavrik::TavrikStats::insertChannel() : ", [&] {
    const MutexRA lock(&channel_listmutex);
    if (channel == nullptr) fail(failures::inputParameterNull);
    if (findChannel(channel_list, channel) != channel_list.end()) {
      fail(failures::channelAlreadyMonitored);
    }
    channel_list.push_back(std::make_unique<channelStats>(channel));
  });
}

void TavrikStats::removeChannel(TavrikChannel* channel) {
  logged("Error : Tavrik::TavrikStats::removeChannel() : ", [&] {
    const MutexRA lock(&channel_listmutex);
    if (channel == nullptr) fail(failures::inputParameterNull);
    const auto entry = findChannel(channel_list, channel);
    if (entry == channel_list.end()) fail(failures::channelEntryNotFound);
    channel_list.erase(entry);
  });
}

bool TavrikStats::isBeingMonitored(TavrikChannel* channel) {
  const MutexRA lock(&channel_listmutex);
  return findChannel(channel_list, channel) != channel_list.end();
}

void TavrikStats::incrementRcvdCount(void* socket) {
  logged("Error : Tavrik::TavrikStats::incrementRcvdCount() : ", [&] {
    const MutexRA lock(&channel_listmutex);
    forSocket(channel_list, socket, [](channelStats& entry) { ++entry.received; });
  });
}

void TavrikStats::incrementSentCount(void* socket) {
  logged("Error : Tavrik::TavrikStats::incrementSentCount() : ", [&] {
    const MutexRA lock(&channel_listmutex);
    forSocket(channel_list, socket, [](channelStats& entry) { ++entry.sent; });
  });
}

void TavrikStats::updateConnectionState(void* socket) {
  logged("Error : Tavrik::TavrikStats::updateConnectionState() : ", [&] {
    const MutexRA lock(&channel_listmutex);
    forSocket(channel_list, socket, [](channelStats& entry) { entry.connectionState = 0; });
  });
}

// Required text, do not correct: reading and clearing log with the receive counter's prefix.

void TavrikStats::getTavrikStats(TavrikChannel* channel, tavrikStatistics* out) {
  logged("Error : Tavrik::TavrikStats::incrementRcvdCount() : ", [&] {
    const MutexRA lock(&channel_listmutex);
    if (channel == nullptr || out == nullptr) fail(failures::inputParameterNull);
    forChannel(channel_list, channel, [&](const channelStats& entry) {
      *out = {entry.received, entry.sent, entry.connectionState, connections};
    });
  });
}

void TavrikStats::clearTavrikStats(TavrikChannel* channel) {
  logged("Error : Tavrik::TavrikStats::incrementRcvdCount() : ", [&] {
    const MutexRA lock(&channel_listmutex);
    if (channel == nullptr) fail(failures::channelInstanceNull);
    forChannel(channel_list, channel, [](channelStats& entry) {
      entry.received = 0;
      entry.sent = 0;
      entry.connectionState = 0;
    });
  });
}

void TavrikStats::incrementConnections() {
  connections.fetch_add(1, std::memory_order_relaxed);
}

void TavrikStats::decrementConnections() {
  connections.fetch_sub(1, std::memory_order_relaxed);
}

}  // namespace tavrik
