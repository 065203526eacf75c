// Which proxies run. Starts a proxy thread.
#include <core/failure.hpp>
#include <patterns/proxy_registry.hpp>

#include <csignal>
#include <cstddef>
#include <memory>
#include <new>

namespace tavrik {
namespace {

// Blocks all signals in this thread until it is destroyed. A thread that is created meanwhile
// inherits the mask.
class BlockedSignals {
 public:
  BlockedSignals() {
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
  }
  ~BlockedSignals() { pthread_sigmask(SIG_SETMASK, &before, nullptr); }
  BlockedSignals(const BlockedSignals&) = delete;
  BlockedSignals& operator=(const BlockedSignals&) = delete;

 private:
  sigset_t before;
};

}  // namespace

ProxyRegistry& ProxyRegistry::instance() {
  alignas(ProxyRegistry) static std::byte storage[sizeof(ProxyRegistry)];
  static auto* const registry = new (storage) ProxyRegistry;
  return *registry;
}

bool ProxyRegistry::isRegistered(const std::string& name) const {
  return proxythreads.find(name) != proxythreads.end();
}

// Do everything that can fail before starting the thread: a running thread is always registered.
void ProxyRegistry::start(const std::string& name, OwnedProxyThreadArgs args) {
  Record& record = findOrAdd(name);
  const auto entry = proxythreads.emplace(name, 0).first;
  const auto create = [&] {
    // A signal that interrupts the proxy between two frames would tear the message in transit, and
    // the application's handlers expect the application's threads.
    const BlockedSignals blocked;
    return pthread_create(&entry->second, nullptr, proxythreadfun, args.get());
  };
  if (create() != 0) {
    proxythreads.erase(entry);
    fail(failures::proxyNotStarted);
  }
  static_cast<void>(args.release());  // the thread frees it
  record.running.store(true, std::memory_order_release);
}

void ProxyRegistry::remove(Record* record) {
  if (record == nullptr) return;
  record->running.store(false, std::memory_order_release);
  const auto entry = proxythreads.find(record->name);
  if (entry != proxythreads.end()) proxythreads.erase(entry);
}

ProxyRegistry::Record* ProxyRegistry::find(std::string_view name) const {
  Record* record = newest.load(std::memory_order_acquire);
  while (record != nullptr && record->name != name) record = record->next;
  return record;
}

ProxyRegistry::Record& ProxyRegistry::findOrAdd(const std::string& name) {
  if (Record* const known = find(name)) return *known;
  auto record = std::make_unique<Record>();
  record->name = name;
  record->next = newest.load(std::memory_order_relaxed);
  newest.store(record.get(), std::memory_order_release);
  return *record.release();
}

}  // namespace tavrik
