// What the library makes of one failing call of ZeroMQ.
#ifndef TAVRIK_TESTS_POINTS_EXPECTED_HPP
#define TAVRIK_TESTS_POINTS_EXPECTED_HPP

#include <string>
#include <vector>

namespace points {

// The errors that a function of ZeroMQ may report. None if it never fails.
const std::vector<int>& plausibleErrors(const std::string& call);

// The failure of a call. The call and the one before it are texts of support::Call.
struct Expected {
  Expected(const std::string& call, const std::string& before, int error);

  int code;  // negative
  std::string text;
  std::string memberPrefix;  // of the transport's member that logs it; empty: none does
  bool connecting;           // whether the call is a part of connecting
};

}  // namespace points

#endif
