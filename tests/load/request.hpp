// What the load tests send. The bytes of a request follow from its number, so that whoever sees it
// can tell whether it is whole.
#ifndef TAVRIK_TESTS_LOAD_REQUEST_HPP
#define TAVRIK_TESTS_LOAD_REQUEST_HPP

#include <support/parts.hpp>
#include <support/plain_socket.hpp>

#include <poll.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <random>
#include <sstream>
#include <string>

namespace load {

// A client of the process has two channels in each of its threads.
constexpr int channelsPerThread = 2;

// A client has so many requests on their way at most. All clients together stay below the queues'
// limits, which are 1000 each, so that nothing is dropped for want of room.
constexpr int window = 16;

constexpr const char* requestSubject = "request";
constexpr const char* answerSubject = "answer";

// Nanoseconds on a clock that all processes of the machine share.
inline std::int64_t now() {
  return std::chrono::nanoseconds(std::chrono::steady_clock::now().time_since_epoch()).count();
}

// Waits until it holds; whether it came to that.
template <class Condition>
bool waitUntil(Condition holds) {
  const std::int64_t end = now() + std::int64_t{support::patience} * 1000000;
  while (!holds()) {
    if (now() > end) return false;
    poll(nullptr, 0, 1);
  }
  return true;
}

// The first part of a request and of its answer.
struct Header {
  int client = 0;
  int number = 0;   // of the client's requests, from 0
  int attempt = 0;  // how often it has been asked, from 1
  std::int64_t sentAt = 0;

  std::string text() const {
    std::ostringstream out;
    out << client << ' ' << number << ' ' << attempt << ' ' << sentAt;
    return out.str();
  }

  static std::optional<Header> parse(const std::string& text) {
    std::istringstream in(text);
    Header header;
    if (!(in >> header.client >> header.number >> header.attempt >> header.sentAt)) {
      return std::nullopt;
    }
    return header;
  }
};

// One to five parts: the header, and up to four of 0 bytes to some tens of kB of any value.
inline support::Parts requestParts(std::uint32_t seed, const Header& header) {
  std::seed_seq seeds{seed, static_cast<std::uint32_t>(header.client),
                      static_cast<std::uint32_t>(header.number)};
  std::mt19937_64 random(seeds);
  const auto upTo = [&](std::size_t limit) {
    return static_cast<std::size_t>(random() % (limit + 1));
  };
  const auto randomSize = [&] {
    const std::size_t kind = upTo(9);
    if (kind < 2) return std::size_t{0};
    if (kind < 6) return upTo(100);
    if (kind < 9) return upTo(4000);
    return upTo(40000);
  };
  support::Parts parts{header.text()};
  parts.resize(1 + upTo(4));
  for (std::size_t i = 1; i < parts.size(); ++i) {
    std::string& part = parts[i];
    part.resize(randomSize());
    for (std::size_t at = 0; at < part.size(); at += sizeof(std::uint64_t)) {
      const std::uint64_t bytes = random();
      std::memcpy(&part[at], &bytes, std::min(sizeof bytes, part.size() - at));
    }
  }
  return parts;
}

}  // namespace load

#endif
