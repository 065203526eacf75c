// Composes the codes and texts of the transport's failures.
#include <core/failure.hpp>
#include <transport/transport_error.hpp>

#include <stdexcept>
#include <string>

namespace tavrik {

int compositeCode(int site, int errorNumber) {
  constexpr int ownNumber = 0x8000;
  return errorNumber >= ZMQ_HAUSNUMERO ? site | ownNumber | (errorNumber - ZMQ_HAUSNUMERO)
                                       : site | errorNumber;
}

void fail(const Site& site, std::string_view detail, std::string_view value) {
  const LastError error;
  fail(site, error, detail, value);
}

void fail(const Site& site, const LastError& error, std::string_view detail,
          std::string_view value) {
  throw std::runtime_error(transportErrorText(site.description, error.text(),
                                              std::string(detail).append(value),
                                              compositeCode(site.code, error.transport)));
}

}  // namespace tavrik
