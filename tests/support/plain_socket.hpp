// A ZeroMQ socket outside the library, to check the frames that are sent and received.
#ifndef TAVRIK_TESTS_SUPPORT_PLAIN_SOCKET_HPP
#define TAVRIK_TESTS_SUPPORT_PLAIN_SOCKET_HPP

#include <string>
#include <vector>

namespace support {

using Frames = std::vector<std::string>;

// A time-out that expires only if something does not happen at all, on a loaded machine too.
constexpr long patience = 20000;  // milliseconds

// Has a context of its own. A failure of ZeroMQ throws std::runtime_error.
class PlainSocket {
 public:
  explicit PlainSocket(int type);
  ~PlainSocket();
  PlainSocket(const PlainSocket&) = delete;
  PlainSocket& operator=(const PlainSocket&) = delete;

  void bind(const std::string& endpoint);
  void connect(const std::string& endpoint);
  void setOption(int option, const std::string& value);

  void send(const Frames& frames);
  // Waits for a message. Throws if none arrives.
  Frames receive(long timeout = patience);
  bool hasMessage(long timeout = 0);

  void* raw() { return socket; }

 private:
  void* context;
  void* socket;
};

}  // namespace support

#endif
