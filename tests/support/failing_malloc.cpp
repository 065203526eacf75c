#include <support/failing_allocator.hpp>
#include <support/failing_malloc.hpp>

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <mutex>

namespace support {
namespace {

// The address sanitizer allocates before its checks work, so malloc() and free() must not contain
// any of them.
bool started = false;
struct Start {
  Start() { started = true; }
} const start;

__attribute__((noinline, no_sanitize("address", "undefined"))) bool hasStarted() {
  return started;
}

// No container: it would allocate.
void* remembered[4096];
std::atomic<std::size_t> used{0};  // from the start of the array
std::mutex rememberedMutex;
thread_local bool remembering = false;

__attribute__((noinline)) void remember(void* block) {
  if (!remembering || block == nullptr || !isOutsideZeromq()) return;
  const std::lock_guard<std::mutex> lock(rememberedMutex);
  if (used == std::size(remembered)) std::abort();
  remembered[used++] = block;
}

// Most blocks are released soon after they were allocated.
__attribute__((noinline)) void forget(const void* block) {
  if (used == 0 || block == nullptr) return;
  const std::lock_guard<std::mutex> lock(rememberedMutex);
  for (std::size_t i = used; i-- > 0;) {
    if (remembered[i] != block) continue;
    remembered[i] = remembered[--used];
    return;
  }
}

}  // namespace

Blocks::Blocks() {
  used = 0;
  remembering = true;
}
Blocks::~Blocks() {
  remembering = false;
  used = 0;
}

std::size_t Blocks::left() {
  return used;
}

}  // namespace support

#ifdef __SANITIZE_ADDRESS__
#define REAL(function) __interceptor_##function
#else
#define REAL(function) __libc_##function
#endif

extern "C" {

void* REAL(malloc)(std::size_t size);
void* REAL(calloc)(std::size_t count, std::size_t size);
void REAL(free)(void* block);

void* malloc(std::size_t size) noexcept {
  if (!support::hasStarted()) return REAL(malloc)(size);
  if (support::mallocFails()) return nullptr;
  void* const block = REAL(malloc)(size);
  support::remember(block);
  return block;
}

void* calloc(std::size_t count, std::size_t size) noexcept {
  if (!support::hasStarted()) return REAL(calloc)(count, size);
  if (support::mallocFails()) return nullptr;
  void* const block = REAL(calloc)(count, size);
  support::remember(block);
  return block;
}

void free(void* block) noexcept {
  if (support::hasStarted()) support::forget(block);
  REAL(free)(block);
}

// The address sanitizer's strdup() would not call the malloc() above.
char* strdup(const char* text) noexcept {
  const std::size_t size = std::strlen(text) + 1;
  void* const copy = std::malloc(size);
  return copy != nullptr ? static_cast<char*>(std::memcpy(copy, text, size)) : nullptr;
}

}  // extern "C"
