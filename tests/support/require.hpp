// Checks system calls that have to succeed.
#ifndef TAVRIK_TESTS_SUPPORT_REQUIRE_HPP
#define TAVRIK_TESTS_SUPPORT_REQUIRE_HPP

#include <cerrno>
#include <system_error>

namespace support {

// Throws std::system_error with errno unless the call behind @p holds succeeded.
inline void require(bool holds, const char* what) {
  if (!holds) throw std::system_error(errno, std::generic_category(), what);
}

}  // namespace support

#endif
