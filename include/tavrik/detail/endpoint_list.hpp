/**
 * @file
 * Endpoints in the order in which they were added, with a cursor that reads one at a time. Not part
 * of the documented interface.
 */
#ifndef TAVRIK_DETAIL_ENDPOINT_LIST_HPP
#define TAVRIK_DETAIL_ENDPOINT_LIST_HPP

#include <tavrik/export.h>

#include <algorithm>
#include <cstddef>
#include <string>
#include <vector>

namespace tavrik {

/** A list without duplicates; comparison is case-sensitive. One thread at a time uses it. */
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

  /** @return the endpoint at the cursor, which then advances. After the last endpoint, returns the
   * empty text and resets the cursor to the first. */
  std::string next() {
    if (cursor >= endpoints.size()) {
      cursor = 0;
      return "";
    }
    std::string endpoint = endpoints[cursor];
    ++cursor;  // after the copy, which may run out of memory
    return endpoint;
  }

 private:
  std::vector<std::string> endpoints;
  std::size_t cursor = 0;
};

}  // namespace tavrik

#endif
