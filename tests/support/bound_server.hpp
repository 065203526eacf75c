// A request/reply server bound to a loopback port that the system had free.
#ifndef TAVRIK_TESTS_SUPPORT_BOUND_SERVER_HPP
#define TAVRIK_TESTS_SUPPORT_BOUND_SERVER_HPP

#include <support/temp_dir.hpp>
#include <tavrik/message.hpp>
#include <tavrik/tavrik_channel.hpp>

#include <memory>
#include <stdexcept>
#include <string>

namespace support {

class BoundServer {
 public:
  BoundServer() : BoundServer([](tavrik::TavrikChannel&) {}) {}

  // @p configure is given each channel before it is bound.
  template <class Configure>
  explicit BoundServer(Configure configure) {
    constexpr int attempts = 100;
    for (int i = 0; i < attempts; ++i) {
      auto candidate =
          std::make_unique<tavrik::TavrikChannel>("bound", REQUEST_REPLY_PATTERN, REP_SERVER);
      configure(*candidate);
      address = tcpEndpoint();
      candidate->setProperty(REQ_REP_SERVER_ENDPOINT, address);
      char subject[SUBJECT_BUFFER_SIZE];
      tavrik::Message message;
      try {
        candidate->receive(subject, &message, 0);
        server = std::move(candidate);
        return;
      } catch (const std::runtime_error&) {
        // Somebody else took the port in between.
      }
    }
    throw std::runtime_error("no free port");
  }

  tavrik::TavrikChannel& channel() const { return *server; }
  const std::string& endpoint() const { return address; }

 private:
  std::unique_ptr<tavrik::TavrikChannel> server;
  std::string address;
};

}  // namespace support

#endif
