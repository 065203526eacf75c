// The stream connections of this process, read from the kernel.
#ifndef TAVRIK_TESTS_SUPPORT_CONNECTIONS_HPP
#define TAVRIK_TESTS_SUPPORT_CONNECTIONS_HPP

#include <string>
#include <vector>

namespace support {

// Return the descriptors of this process's established connections that have the tcp or ipc
// endpoint at the other end (those of clients) or at their own end (those that a server accepted).
std::vector<int> connectionsTo(const std::string& endpoint);
std::vector<int> connectionsAt(const std::string& endpoint);

}  // namespace support

#endif
