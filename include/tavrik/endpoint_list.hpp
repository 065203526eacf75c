/**
 * @file
 * Endpoints in the order they were added, with a cursor to read them one at a time.
 */
#ifndef TAVRIK_ENDPOINT_LIST_HPP
#define TAVRIK_ENDPOINT_LIST_HPP

#include <tavrik/export.h>

#include <algorithm>
#include <cstddef>
#include <string>
#include <vector>

namespace tavrik {

/** A list without duplicates; texts are compared as they stand. Used by one thread at a time. */
class TAVRIK_API EndpointList {
 public:
  /** @param endpoint any text @return whether the list holds it */
  bool contains(const std::string& endpoint) const {
    return std::find(endpoints.begin(), endpoints.end(), endpoint) != endpoints.end();
  }

  /** Appends an endpoint. @param endpoint one that the list does not hold */
  void add(const std::string& endpoint) { endpoints.push_back(endpoint); }

  /** @return every endpoint, in order */
  const std::vector<std::string>& all() const { return endpoints; }

  /** @return the endpoint at the cursor, which moves on; the empty text behind the last one, and
   * the cursor goes back to the first */
  std::string next() {
    if (cursor >= endpoints.size()) {
      cursor = 0;
      return "";
    }
    return endpoints[cursor++];
  }

 private:
  std::vector<std::string> endpoints;
  std::size_t cursor = 0;
};

}  // namespace tavrik

#endif
