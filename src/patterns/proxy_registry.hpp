// The running proxies of the process: the one owner of their state.
#ifndef TAVRIK_PATTERNS_PROXY_REGISTRY_HPP
#define TAVRIK_PATTERNS_PROXY_REGISTRY_HPP

#include <patterns/proxy_thread.hpp>
#include <tavrik/mutex_ra.hpp>

#include <pthread.h>

#include <atomic>
#include <map>
#include <string>
#include <string_view>

namespace tavrik {

// Holds one entry for each channel name whose proxy thread runs. It is never destroyed: proxy
// threads run until the process ends.
//
// Thread rule: start(), remove() and isRegistered() need the lock. find() does not: workers call it
// with every message.
class ProxyRegistry {
 public:
  // Tells whether the proxy of a channel name runs. A record is published once and never freed, so
  // it can be read without the lock.
  struct Record {
    std::string name;
    std::atomic<bool> running{false};
    Record* next = nullptr;
  };

  static ProxyRegistry& instance();

  ProxyRegistry(const ProxyRegistry&) = delete;
  ProxyRegistry& operator=(const ProxyRegistry&) = delete;

  // Locks the registry until the returned object is destroyed.
  MutexRA lock() { return MutexRA(&proxymutex); }

  bool isRegistered(const std::string& name) const;

  // Starts a proxy thread and registers it under the name. The thread owns the sockets of the start
  // record from then on. Throws -30 if the thread cannot be created. If it throws, nothing is
  // registered and the sockets stay with the caller.
  void start(const std::string& name, OwnedProxyThreadArgs args);

  // Unregisters a proxy that has ended. A null record is ignored. Allocates nothing.
  void remove(Record* record);

  // Returns the record of a name, or null if nobody has ever tried to start a proxy of that name.
  Record* find(std::string_view name) const;

 private:
  ProxyRegistry() = default;
  ~ProxyRegistry() = default;

  Record& findOrAdd(const std::string& name);

  std::map<std::string, unsigned long> proxythreads;  // channel name to thread
  pthread_mutex_t proxymutex = PTHREAD_MUTEX_INITIALIZER;
  std::atomic<Record*> newest{nullptr};  // each record points to the one before it
};

}  // namespace tavrik

#endif
