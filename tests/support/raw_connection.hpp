// A connection to a ZeroMQ socket without ZeroMQ, for bytes that ZeroMQ never sends.
#ifndef TAVRIK_TESTS_SUPPORT_RAW_CONNECTION_HPP
#define TAVRIK_TESTS_SUPPORT_RAW_CONNECTION_HPP

#include <cstdint>
#include <string>

namespace support {

// The other side may close the connection at any time, which is not a failure.
class RawConnection {
 public:
  // Connects to a tcp endpoint with an address in numbers, or to an ipc endpoint.
  explicit RawConnection(const std::string& endpoint);
  // Takes over a connected descriptor.
  explicit RawConnection(int connected);
  RawConnection(RawConnection&& other) noexcept;
  RawConnection& operator=(RawConnection&&) = delete;
  ~RawConnection();

  // Returns whether the other side, or the queue to it, has taken all.
  bool send(const std::string& bytes) const;

  // Waits for so many bytes. Returns fewer if the other side has closed the connection.
  std::string receive(std::size_t count) const;

  // Ends this side and waits until the other side has closed the connection too. It has read all
  // bytes then.
  void finish() const;

  // Lets the destructor close the connection without a farewell.
  void reset() const;

 private:
  int descriptor;
};

// Accepts connections at an ipc endpoint. Takes the path over.
class RawListener {
 public:
  explicit RawListener(const std::string& endpoint);
  ~RawListener();
  RawListener(const RawListener&) = delete;
  RawListener& operator=(const RawListener&) = delete;

  RawConnection accept() const;

  // Waits for a connection to accept.
  bool isAsked(long timeout) const;

 private:
  int descriptor;
};

// What ZeroMQ's protocol, ZMTP 3.0, consists of.
namespace zmtp {

constexpr std::size_t greetingSize = 64;
constexpr char moreFlag = 1;
constexpr char longFlag = 2;
constexpr char commandFlag = 4;

std::string greeting(const std::string& mechanism = "NULL", char major = 3, char minor = 0);

// The header of a frame with 8 bytes of length.
std::string longHeader(char flags, std::uint64_t size);

std::string frame(char flags, const std::string& body);
std::string command(const std::string& name, const std::string& body);
std::string metadata(const std::string& name, const std::string& value);

// The command that ends a handshake.
std::string ready(const std::string& socketType, const std::string& moreMetadata = "");

}  // namespace zmtp
}  // namespace support

#endif
