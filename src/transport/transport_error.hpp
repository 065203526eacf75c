// The transport's failures: their sites, their texts, and how they are thrown.
#ifndef TAVRIK_TRANSPORT_TRANSPORT_ERROR_HPP
#define TAVRIK_TRANSPORT_TRANSPORT_ERROR_HPP

#include <zmq.h>

#include <cerrno>
#include <string>
#include <string_view>

namespace tavrik {

// The place of a failure: the high bits of its code and the start of its text. The doubled blanks
// in some texts are required; do not correct them.
struct Site {
  int code;
  const char* description;
};

namespace sites {

inline constexpr Site createContext{0x1000000, "Failed to create ZeroMQ Context"};
inline constexpr Site createSocket{0x1010000, "Failed to create ZeroMQ Socket : "};
inline constexpr Site setLinger{0x1060000, "Failed to  set ZeroMQ Socket Linger Period : "};
inline constexpr Site setOption{0x1070000, "Failed to set ZeroMQ Socket Option : "};
inline constexpr Site bind{0x1090000, "Failed to bind ZeroMQ Socket : "};
inline constexpr Site connect{0x10a0000, "Failed to connect ZeroMQ Socket : "};
inline constexpr Site sendFrame{0x10b0000, "Failed to send messagepart : "};
inline constexpr Site closeSocket{0x10c0000, "Failed to  close ZeroMQ Socket : "};
inline constexpr Site closeFrame{0x10c0000, "Failed to close ZeroMQ messagepart : "};
inline constexpr Site initializeFrame{0x10d0000, "Failed to initialize ZeroMQ messagepart : "};
inline constexpr Site receiveFrame{0x10e0000, "Failed to get messagepart : "};
inline constexpr Site readMore{0x10f0000, "Failed to get ZMQ_RCVMORE Option : "};
inline constexpr Site poll{0x1110000, "Failed to poll on zmq_items : "};
inline constexpr Site setIoThreads{0x1120000, "Failed to set ZMQ_IO_THREADS : "};
inline constexpr Site monitorSocket{0x1170000, "Failed to monitor ZeroMQ Socket : "};

}  // namespace sites

// The error of the last transport call. Create it before any clean-up call can change the error.
struct LastError {
  int system = errno;
  int transport = zmq_errno();

  std::string text() const { return zmq_strerror(system); }
};

// Returns the site combined with the error number. ZeroMQ's own numbers are counted from their base
// and marked by bit 15.
int compositeCode(int site, int errorNumber);

// Throws the failure of the last transport call. The detail goes between the error text and the
// code.
[[noreturn]] void fail(const Site& site, std::string_view detail = {}, std::string_view value = {});

// Throws a failure whose error was saved earlier.
[[noreturn]] void fail(const Site& site, const LastError& error, std::string_view detail = {},
                       std::string_view value = {});

}  // namespace tavrik

#endif
