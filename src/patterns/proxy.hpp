// The proxy thread: what it is started with, and what is known of it without a lock.
#ifndef TAVRIK_PATTERNS_PROXY_HPP
#define TAVRIK_PATTERNS_PROXY_HPP

#include <tavrik/mq_wrapper.hpp>

#include <atomic>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>

namespace tavrik {

// Whether a channel name's proxy is running. Workers ask on every send and receive, so it has to be
// answered without the registry's mutex. A record is published once and never freed.
struct ProxyRecord {
  std::string name;
  std::atomic<bool> running{false};
  ProxyRecord* next = nullptr;
};

// The record of a name, or null. Takes no lock.
const ProxyRecord* findProxyRecord(std::string_view name);

// The record of a name, made if there is none. The caller holds the registry's mutex.
ProxyRecord& proxyRecord(std::string_view name);

// What a proxy thread is started with. Made with malloc, and freed with its name by the thread.
struct ProxyThreadArgs {
  void* router;
  void* dealer;
  char* name;
};

struct FreeProxyThreadArgs {
  void operator()(ProxyThreadArgs* args) const {
    std::free(args->name);
    std::free(args);
  }
};
using OwnedProxyThreadArgs = std::unique_ptr<ProxyThreadArgs, FreeProxyThreadArgs>;

// A start record with a copy of the name and no sockets yet. Throws std::bad_alloc.
OwnedProxyThreadArgs proxyThreadArgs(const std::string& name);

// The proxy's two sockets until the thread has them: closes what was made, the router first. A
// failure to close is logged behind the prefix, so that the failure that led here goes on.
class ProxySockets {
 public:
  ProxySockets(const MQWrapper& owner, const char* logPrefix)
      : transport(owner), prefix(logPrefix) {}
  ~ProxySockets();
  ProxySockets(const ProxySockets&) = delete;
  ProxySockets& operator=(const ProxySockets&) = delete;

  void handOver() { router = dealer = nullptr; }

  void* router = nullptr;
  void* dealer = nullptr;

 private:
  void release(void* socket) const;

  const MQWrapper& transport;
  const char* prefix;
};

}  // namespace tavrik

#endif
