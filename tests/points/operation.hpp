// One public operation on an object in one state.
#ifndef TAVRIK_TESTS_POINTS_OPERATION_HPP
#define TAVRIK_TESTS_POINTS_OPERATION_HPP

#include "scene.hpp"

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace points {

// The call or allocation that failed, and what the action had done.
struct Failed {
  std::string call;  // empty: an allocation
  int sent = 0;      // frames
  int taken = 0;     // frames that were received
  int measured = 0;  // frames that were asked whether more follow
};

using Action = std::function<int(Scene&)>;

// Checks the object after a failure of the action.
using Check = std::function<void(Scene&, const Failed&, const Action&)>;

// A failed call that does not make the action fail.
struct Exempt {
  std::string call;       // the start of its text
  int nth;                // among these calls of the action
  int error;              // 0: any
  int result;             // of the action
  std::string info = {};  // the info line that is logged; empty: none
};

struct Operation {
  std::string name;
  std::function<std::unique_ptr<Scene>()> prepare;
  int result;  // negative: the action is refused
  Action inClasses;
  Action inC = nullptr;  // null: C has no such function

  // The prefixes of the members that log a failure after the transport's members and the ones that
  // connect; then that of the C function, empty if it logs nothing.
  std::vector<std::string> members = {};
  std::string function = {};

  std::vector<Exempt> exempt = {};
  Check afterwards = nullptr;  // null: the action can be repeated
  bool failsQuietly = false;   // it logs failures and returns its usual result
  bool startsProxy = false;
  bool makesObject = false;        // in C it returns null, which counts as -3, for every failure
  bool firstAttemptFails = false;  // the first receive of a frame finds none, in every run
  std::string noBufferText = {};   // the text of its failure to allocate a buffer for the caller
  bool hasPoints = true;           // whether it allocates or calls ZeroMQ
};

std::vector<Operation> allOperations();

}  // namespace points

#endif
