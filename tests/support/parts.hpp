// Converts messages from and to lists of parts.
#ifndef TAVRIK_TESTS_SUPPORT_PARTS_HPP
#define TAVRIK_TESTS_SUPPORT_PARTS_HPP

#include <tavrik/message.hpp>

#include <string>
#include <vector>

namespace support {

using Parts = std::vector<std::string>;

inline tavrik::Message messageOf(const Parts& parts) {
  tavrik::Message message;
  for (const std::string& part : parts) {
    message.insertPart(static_cast<unsigned int>(message.getnumParts()), part);
  }
  return message;
}

inline Parts partsOf(const tavrik::Message& message) {
  Parts parts;
  for (int i = 0; i < message.getnumParts(); ++i) {
    parts.push_back(message.getPart(static_cast<unsigned int>(i)));
  }
  return parts;
}

}  // namespace support

#endif
