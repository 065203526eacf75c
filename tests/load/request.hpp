// What the load tests send. The parts follow from the header, so every receiver can check them.
#ifndef TAVRIK_TESTS_LOAD_REQUEST_HPP
#define TAVRIK_TESTS_LOAD_REQUEST_HPP

#include <support/parts.hpp>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstring>
#include <optional>
#include <random>
#include <sstream>
#include <string>
#include <utility>

namespace load {

constexpr int channelsPerThread = 2;

// How many requests of a client may be waiting for their replies. All clients together stay below
// the high-water marks of 1000, so no queue drops a message.
constexpr int window = 16;

constexpr const char* requestSubject = "request";
constexpr const char* replySubject = "reply";

// Nanoseconds on a clock that all processes of the machine share.
inline std::int64_t now() {
  return std::chrono::nanoseconds(std::chrono::steady_clock::now().time_since_epoch()).count();
}

// The client and the number of a request.
using RequestId = std::pair<int, int>;

// The first part of a request and of its reply.
struct Header {
  int client = 0;
  int number = 0;   // counts the client's requests from 0
  int attempt = 0;  // counts how often the request was sent, from 1
  std::int64_t sentAt = 0;

  RequestId id() const { return {client, number}; }

  std::string text() const {
    std::ostringstream out;
    out << client << ' ' << number << ' ' << attempt << ' ' << sentAt;
    return out.str();
  }

  static std::optional<Header> parse(const std::string& text) {
    std::istringstream in(text);
    Header header;
    if (in >> header.client >> header.number >> header.attempt >> header.sentAt) return header;
    return std::nullopt;
  }
};

// One to five parts: the header, and up to four with 0 to 40000 bytes of any value.
inline support::Parts requestParts(std::uint32_t seed, const Header& header) {
  std::seed_seq seeds{seed, static_cast<std::uint32_t>(header.client),
                      static_cast<std::uint32_t>(header.number)};
  std::mt19937_64 random(seeds);
  constexpr std::size_t largest[] = {0, 0, 100, 100, 100, 100, 4000, 4000, 4000, 40000};
  support::Parts parts{header.text()};
  const auto below = [&](std::size_t end) { return static_cast<std::size_t>(random() % end); };
  parts.resize(1 + below(5));
  for (std::size_t i = 1; i < parts.size(); ++i) {
    std::string& part = parts[i];
    part.resize(below(largest[below(std::size(largest))] + 1));
    for (std::size_t at = 0; at < part.size(); at += sizeof(std::uint64_t)) {
      const std::uint64_t bytes = random();
      std::memcpy(&part[at], &bytes, std::min(sizeof bytes, part.size() - at));
    }
  }
  return parts;
}

}  // namespace load

#endif
