// Reads numbers from property values and error texts.
#ifndef TAVRIK_CORE_NUMBER_HPP
#define TAVRIK_CORE_NUMBER_HPP

#include <cstdint>
#include <string>

namespace tavrik {

// Returns the low 32 bits of the decimal number at the start of the text. Text that is not a number
// gives 0, text after the number is ignored, and a number beyond 64 bits is first limited to that
// range. The result does not depend on the size of long.
std::uint32_t leadingNumber(const char* text);

inline std::uint32_t leadingNumber(const std::string& text) {
  return leadingNumber(text.c_str());
}

}  // namespace tavrik

#endif
