#include <support/mutex_watch.hpp>
#include <support/next_function.hpp>

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdlib>

namespace support {
namespace {

// The mutex that each thread waits for. Slots are not used again.
std::array<std::atomic<const pthread_mutex_t*>, 256> waitedFor;
std::atomic<std::size_t> threads{0};

std::atomic<const pthread_mutex_t*>& ownSlot() {
  thread_local const std::size_t own = threads++;
  if (own >= waitedFor.size()) std::abort();
  return waitedFor[own];
}

// The mutexes that this thread holds. Plain values, because mutexes are locked before and after the
// life of every object.
thread_local const pthread_mutex_t* held[16];
thread_local std::size_t heldCount = 0;

}  // namespace

int waitersFor(const pthread_mutex_t* mutex) {
  int count = 0;
  for (const auto& slot : waitedFor) count += slot == mutex ? 1 : 0;
  return count;
}

const pthread_mutex_t* heldMutex() {
  return heldCount > 0 ? held[heldCount - 1] : nullptr;
}

}  // namespace support

extern "C" {

int pthread_mutex_lock(pthread_mutex_t* mutex) noexcept {
  static const auto real = support::next(&pthread_mutex_lock);
  auto& slot = support::ownSlot();
  slot = mutex;
  const int error = real(mutex);
  slot = nullptr;
  if (support::heldCount == std::size(support::held)) std::abort();
  if (error == 0) support::held[support::heldCount++] = mutex;
  return error;
}

int pthread_mutex_unlock(pthread_mutex_t* mutex) noexcept {
  static const auto real = support::next(&pthread_mutex_unlock);
  for (std::size_t i = support::heldCount; i-- > 0;) {
    if (support::held[i] != mutex) continue;
    support::held[i] = support::held[--support::heldCount];
    break;
  }
  return real(mutex);
}

}  // extern "C"
