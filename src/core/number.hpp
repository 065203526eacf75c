// Reads numbers from text the way every face of the library does.
#ifndef TAVRIK_CORE_NUMBER_HPP
#define TAVRIK_CORE_NUMBER_HPP

#include <cstdint>
#include <string>

namespace tavrik {

// The low 32 bits of the decimal number at the front of the text. Text that is not a number gives
// 0, what follows the number is ignored, and a number beyond 64 bits is first cut to that range.
std::uint32_t leadingNumber(const char* text);

inline std::uint32_t leadingNumber(const std::string& text) {
  return leadingNumber(text.c_str());
}

}  // namespace tavrik

#endif
