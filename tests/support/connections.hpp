// The stream connections of this process, as the kernel knows them.
#ifndef TAVRIK_TESTS_SUPPORT_CONNECTIONS_HPP
#define TAVRIK_TESTS_SUPPORT_CONNECTIONS_HPP

#include <string>
#include <vector>

namespace support {

// The descriptors of this process's established connections that have the tcp or ipc endpoint at
// the other end (clients) or at their own (the server's accepted ones).
std::vector<int> connectionsTo(const std::string& endpoint);
std::vector<int> connectionsAt(const std::string& endpoint);

}  // namespace support

#endif
