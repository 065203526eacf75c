// What the fuzz targets share: checks that libFuzzer reports as crashes, the library's log lines,
// and choices that the input makes.
#ifndef TAVRIK_TESTS_FUZZ_SUPPORT_HPP
#define TAVRIK_TESTS_FUZZ_SUPPORT_HPP

#include <support/parts.hpp>
#include <tavrik/tavrik.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <fuzzer/FuzzedDataProvider.h>
#include <optional>
#include <string>
#include <vector>

namespace fuzz {

using support::Parts;

// Every check prints what differs and aborts; libFuzzer then keeps the input.

[[noreturn]] void fail(const std::string& what);
void require(bool holds, const std::string& what);
void requireEqual(long long expected, long long actual, const std::string& what);
void requireEqual(const std::string& expected, const std::string& actual, const std::string& what);
void requireEqual(const Parts& expected, const Parts& actual, const std::string& what);

struct LogLine {
  int level;
  std::string text;
};

// Returns this thread's log lines since the last call.
std::vector<LogLine> takeLog();

// The next check of the log finds none.
void requireNoLog(const std::string& what);

// The last log line of a call that failed is this one.
void requireLastLog(int level, const std::string& text, const std::string& what);

// Runs a call again while the transport has no free sockets. It closes sockets in a thread of its
// own, which may be behind.
int withSockets(const std::function<int()>& call);
void* newSocket(int type);

// A plain socket of the library's context, for peers over inproc.
class Peer {
 public:
  explicit Peer(int type) : socket(newSocket(type)) {}
  ~Peer();
  Peer(const Peer&) = delete;
  Peer& operator=(const Peer&) = delete;

  void bind(const std::string& endpoint);
  void connect(const std::string& endpoint);
  void send(const Parts& frames);
  // Returns a message, or nothing if none is there in time.
  std::optional<Parts> receive(long timeout = 0);

 private:
  void* socket;
};

// Long enough for anything that will happen at all, on a loaded machine too. Milliseconds.
constexpr long patience = 15000;

// An inproc name that no other execution has.
std::string uniqueName();

// What the input chooses.
class Input {
 public:
  Input(const std::uint8_t* data, std::size_t size) : provider(data, size) {}

  bool empty() { return provider.remaining_bytes() == 0; }
  bool flag() { return provider.ConsumeBool(); }

  // Inclusive.
  template <class Number>
  Number between(Number least, Number most) {
    return provider.ConsumeIntegralInRange<Number>(least, most);
  }

  template <class Item, std::size_t size>
  Item oneOf(const Item (&items)[size]) {
    return items[between<std::size_t>(0, size - 1)];
  }

  template <class Number>
  Number any() {
    return provider.ConsumeIntegral<Number>();
  }

  // Any bytes.
  std::string bytes(std::size_t most = 64);

  // The same without zero bytes.
  std::string text(std::size_t most = 64);

  // Text whose length is near a limit of 255, or any other.
  std::string textAroundLimit();

  // Up to that many parts, some of them empty.
  Parts parts(std::size_t most = 8);

  // An index of a list of that size, one just outside, or any other.
  unsigned int index(std::size_t size);

 private:
  FuzzedDataProvider provider;
};

// What the receiver has as subject: at most 255 bytes, cut at a zero byte.
std::string asSubject(const std::string& frame);

}  // namespace fuzz

#endif
