// What a proxy thread is started with.
#ifndef TAVRIK_PATTERNS_PROXY_THREAD_HPP
#define TAVRIK_PATTERNS_PROXY_THREAD_HPP

#include <tavrik/mq_wrapper.hpp>
#include <tavrik/proxy_thread.hpp>

#include <cstdlib>
#include <memory>
#include <string>

namespace tavrik {

// The two sockets of a proxy until its thread owns them. The destructor closes those it still
// owns, the router first. It logs a failure to close one with the prefix and does not throw, so
// that the failure that led here propagates.
class ProxySockets {
 public:
  ProxySockets(const MQWrapper& owner, const char* logPrefix)
      : transport(owner), prefix(logPrefix) {}
  ~ProxySockets();
  ProxySockets(const ProxySockets&) = delete;
  ProxySockets& operator=(const ProxySockets&) = delete;

  // Leaves both sockets to the thread.
  void handOver() { router = dealer = nullptr; }

  void* router = nullptr;
  void* dealer = nullptr;

 private:
  void close(void* socket) const;

  const MQWrapper& transport;
  const char* prefix;
};

// The start record. It and its name are allocated with malloc; the thread frees both.
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

// Makes a start record with a copy of the name and no sockets. Throws std::bad_alloc.
OwnedProxyThreadArgs proxyThreadArgs(const std::string& name);

}  // namespace tavrik

#endif
