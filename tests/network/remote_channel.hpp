// A channel in a process on a host, spoken to as if it were here.
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

  // Sets the properties in their order.
  RemoteChannel(const support::Host& host, const std::string& name, pattern_t pattern, role_t role,
                const Properties& properties)
      : process(
            host.start({CHANNEL_PROCESS, name, std::to_string(pattern), std::to_string(role)})) {
    for (const auto& [property, value] : properties) {
      EXPECT_EQ("0", answer("set " + std::to_string(property) + " " + value));
    }
  }

  // Sends a message of the text and so many bytes made of it: the result, or the failure's text.
  // Neither subject nor text may hold a blank.
  std::string send(const std::string& subject, const std::string& text, int size = 0) {
    return answer("send " + subject + " " + std::to_string(size) + " " + text);
  }

  // The next message's subject and text with a blank in between; nothing when none comes in time.
  std::string receive(long timeout = support::patience) {
    return answer("receive " + std::to_string(timeout));
  }

 private:
  std::string answer(const std::string& line) {
    process->tell(line);
    return process->line();
  }

  std::unique_ptr<support::ChildProcess> process;
};

// What send() answers when both parts of a message are taken.
constexpr const char* sent = "2";

// Bytes of a message that make a queue of them more than TCP takes at once.
constexpr int large = 32768;

#endif
