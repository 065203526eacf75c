// A guard that holds a POSIX mutex.
#include <core/failure.hpp>
#include <tavrik/mutex_ra.hpp>

namespace tavrik {

MutexRA::MutexRA(pthread_mutex_t* mutex) : held(mutex) {
  // Required text, do not correct: the prefix names no member.
  logged("Error : Tavrik::MutexRA() : ", [&] {
    if (held == nullptr) fail(failures::mutexNull);
    pthread_mutex_lock(held);
  });
}

MutexRA::~MutexRA() {
  pthread_mutex_unlock(held);
}

}  // namespace tavrik
