// A channel in a process of its own, on this machine or on a host.
#ifndef TAVRIK_TESTS_NETWORK_REMOTE_CHANNEL_HPP
#define TAVRIK_TESTS_NETWORK_REMOTE_CHANNEL_HPP

#include <support/child_process.hpp>
#include <support/hosts.hpp>
#include <support/plain_socket.hpp>
#include <tavrik/types.h>

#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <utility>
#include <vector>

class RemoteChannel {
 public:
  using Properties = std::vector<std::pair<channel_prop_t, std::string>>;

  // Sets the properties in this order. No host: this machine.
  RemoteChannel(const support::Host& host, const std::string& name, pattern_t pattern, role_t role,
                const Properties& properties)
      : RemoteChannel(&host, name, pattern, role, properties) {}
  RemoteChannel(const support::Host* host, const std::string& name, pattern_t pattern, role_t role,
                const Properties& properties) {
    const std::vector<std::string> start{CHANNEL_PROCESS, name, std::to_string(pattern),
                                         std::to_string(role)};
    program = host != nullptr ? host->start(start) : std::make_unique<support::ChildProcess>(start);
    for (const auto& [property, value] : properties) {
      EXPECT_EQ("0", command("set " + std::to_string(property) + " " + value));
    }
  }

  // Sends the text and this many bytes computed from it. Returns the result or the failure's text.
  // Neither subject nor text may contain a blank.
  std::string send(const std::string& subject, const std::string& text, int size = 0) {
    return command("send " + subject + " " + std::to_string(size) + " " + text);
  }

  // Returns the next message's subject and text with a blank between them, or an empty string if
  // none arrives in time.
  std::string receive(long timeout = support::patience) {
    return command("receive " + std::to_string(timeout));
  }

  // Sends the next message back. Returns what send() returns, or "0" if none arrives in time.
  std::string echo(long timeout = support::patience) {
    return command("echo " + std::to_string(timeout));
  }

  support::ChildProcess& process() { return *program; }

 private:
  std::string command(const std::string& line) {
    program->tell(line);
    return program->line();
  }

  std::unique_ptr<support::ChildProcess> program;
};

// What send() returns when the message is queued.
constexpr const char* sent = "2";

// The size of a message, in bytes. A full queue of such messages exceeds TCP's buffers.
constexpr int large = 32768;

#endif
