// What the soak sends: the contents follow from the header, so every receiver checks every byte.
#ifndef TAVRIK_TESTS_SOAK_PAYLOAD_HPP
#define TAVRIK_TESTS_SOAK_PAYLOAD_HPP

#include <support/parts.hpp>
#include <tavrik/message.hpp>

#include <cstdint>
#include <load/request.hpp>
#include <optional>

namespace soak {

using load::Header;

constexpr std::uint32_t seed = 1;

inline tavrik::Message payload(int sender, int number, int epoch = 0) {
  return support::messageOf(load::requestParts(seed, {sender, number, epoch, load::now()}));
}

// The header, if every byte of every part is as it was sent.
inline std::optional<Header> intact(const tavrik::Message& message) {
  const support::Parts parts = support::partsOf(message);
  if (parts.empty()) return std::nullopt;
  const auto header = Header::parse(parts[0]);
  return header && parts == load::requestParts(seed, *header) ? header : std::nullopt;
}

}  // namespace soak

#endif
