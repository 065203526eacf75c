#include "support.hpp"

#include <support/transport_socket.hpp>

#include <sched.h>
#include <zmq.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>

namespace fuzz {
namespace {

thread_local std::vector<LogLine> lines;

void record(int level, const char* text) {
  lines.push_back({level, text});
}

std::string quoted(const std::string& text) {
  constexpr char digits[] = "0123456789abcdef";
  constexpr unsigned char firstPrintable = 0x20;
  constexpr unsigned char lastPrintable = 0x7e;
  std::string result = "\"";
  for (const char character : text) {
    const auto byte = static_cast<unsigned char>(character);
    if (byte >= firstPrintable && byte <= lastPrintable) {
      result += character;
    } else {
      result.append("\\x").append(1, digits[byte >> 4U]).append(1, digits[byte & 0xfU]);
    }
  }
  return result + "\"";
}

std::string quoted(const Parts& parts) {
  std::string result = std::to_string(parts.size()) + " parts:";
  for (const std::string& part : parts) result += " " + quoted(part);
  return result;
}

void failEqual(const std::string& expected, const std::string& actual, const std::string& what) {
  fail(what + "\n  expected " + expected + "\n  found    " + actual);
}

void requireTransport(bool holds, const char* what) {
  require(holds, std::string(what) + ": " + zmq_strerror(zmq_errno()));
}

}  // namespace

void fail(const std::string& what) {
  std::fprintf(stderr, "\nFINDING: %s\n", what.c_str());
  std::abort();
}

void require(bool holds, const std::string& what) {
  if (!holds) fail(what);
}

void requireEqual(long long expected, long long actual, const std::string& what) {
  if (expected != actual) failEqual(std::to_string(expected), std::to_string(actual), what);
}

void requireEqual(const std::string& expected, const std::string& actual, const std::string& what) {
  if (expected != actual) failEqual(quoted(expected), quoted(actual), what);
}

void requireEqual(const Parts& expected, const Parts& actual, const std::string& what) {
  if (expected != actual) failEqual(quoted(expected), quoted(actual), what);
}

std::vector<LogLine> takeLog() {
  std::vector<LogLine> taken;
  taken.swap(lines);
  return taken;
}

void requireNoLog(const std::string& what) {
  const auto log = takeLog();
  if (!log.empty()) fail(what + " logged " + quoted(log.back().text));
}

void requireLastLog(int level, const std::string& text, const std::string& what) {
  const auto log = takeLog();
  if (log.empty()) fail(what + " logged nothing instead of " + quoted(text));
  requireEqual(text, log.back().text, "last log line of " + what);
  requireEqual(level, log.back().level, "level of " + quoted(text));
}

int withSockets(const std::function<int()>& call) {
  constexpr int noSocketsLeft = -16842776;
  int result = call();
  while (result == noSocketsLeft) {
    takeLog();
    sched_yield();
    result = call();
  }
  return result;
}

void* newSocket(int type) {
  while (true) {
    try {
      return tavrik::MQWrapper::getInstance()->createEndpt(type);
    } catch (const std::runtime_error&) {
      requireTransport(zmq_errno() == EMFILE, "zmq_socket");
      takeLog();
      sched_yield();
    }
  }
}

Peer::~Peer() {
  tavrik::MQWrapper::getInstance()->deleteEndpt(socket);
}

void Peer::bind(const std::string& endpoint) {
  requireTransport(zmq_bind(socket, endpoint.c_str()) == 0, "zmq_bind");
}

void Peer::connect(const std::string& endpoint) {
  requireTransport(zmq_connect(socket, endpoint.c_str()) == 0, "zmq_connect");
}

void Peer::send(const Parts& frames) {
  for (std::size_t i = 0; i < frames.size(); ++i) {
    const int flags = i + 1 < frames.size() ? ZMQ_SNDMORE : 0;
    requireTransport(zmq_send(socket, frames[i].data(), frames[i].size(), flags) != -1, "zmq_send");
  }
}

std::optional<Parts> Peer::receive(long timeout) {
  zmq_pollitem_t item = {socket, 0, ZMQ_POLLIN, 0};
  int ready = zmq_poll(&item, 1, timeout);
  while (ready == -1 && zmq_errno() == EINTR)
    ready = zmq_poll(&item, 1, timeout);  // the fuzzer's timer
  requireTransport(ready != -1, "zmq_poll");
  if ((item.revents & ZMQ_POLLIN) == 0) return std::nullopt;
  Parts frames;
  int more = 1;
  while (more != 0) {
    zmq_msg_t frame;
    zmq_msg_init(&frame);
    requireTransport(zmq_msg_recv(&frame, socket, 0) != -1, "zmq_msg_recv");
    frames.emplace_back(static_cast<const char*>(zmq_msg_data(&frame)), zmq_msg_size(&frame));
    more = zmq_msg_more(&frame);
    zmq_msg_close(&frame);
  }
  return frames;
}

std::string uniqueName() {
  static std::atomic<unsigned long> count{0};
  return "fuzz-" + std::to_string(count++);
}

std::string Input::bytes(std::size_t most) {
  return provider.ConsumeBytesAsString(between<std::size_t>(0, most));
}

std::string Input::text(std::size_t most) {
  std::string result = bytes(most);
  for (char& character : result) {
    if (character == '\0') character = '0';
  }
  return result;
}

std::string Input::textAroundLimit() {
  if (!flag()) return text();
  constexpr std::size_t limit = 255;
  const auto length = between<std::size_t>(limit - 2, limit + 2);
  return std::string(length, between('a', 'e'));
}

Parts Input::parts(std::size_t most) {
  Parts result(between<std::size_t>(0, most));
  for (std::string& part : result) {
    constexpr std::size_t large = 400;
    part = between(0, 9) == 0 ? std::string(between<std::size_t>(0, large), any<char>()) : bytes();
  }
  return result;
}

unsigned int Input::index(std::size_t size) {
  constexpr int rarely = 9;
  if (between(0, rarely) == 0) return any<unsigned int>();
  return between(0U, static_cast<unsigned int>(size) + 1);
}

std::string asSubject(const std::string& frame) {
  constexpr std::size_t longest = 255;
  return frame.substr(0, longest).c_str();
}

}  // namespace fuzz

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  tavrik_Install_Logfn(fuzz::record);
  return 0;
}
