// Stands between the library and ZeroMQ: records the calls of this thread, and makes some fail.
//
// The test program defines ZeroMQ's functions and forwards each call, so the library needs no hook.
#ifndef TAVRIK_TESTS_SUPPORT_TRANSPORT_FAULTS_HPP
#define TAVRIK_TESTS_SUPPORT_TRANSPORT_FAULTS_HPP

#include <algorithm>
#include <string>
#include <vector>

namespace support {

struct Call {
  std::string text;    // the function and its relevant arguments: "zmq_setsockopt 34 1"
  const void* object;  // the socket, frame or context that it was called with
  bool worked;         // whether it succeeded
};

// The texts of calls, in their order.
using Calls = std::vector<std::string>;

inline int count(const Calls& calls, const std::string& call) {
  return static_cast<int>(std::count(calls.begin(), calls.end(), call));
}

inline Calls joined(const std::vector<Calls>& lists) {
  Calls all;
  for (const Calls& calls : lists) all.insert(all.end(), calls.begin(), calls.end());
  return all;
}

// The calls that make a socket of a type: its creation and the TCP keep-alive options.
inline Calls making(const std::string& type) {
  return {"zmq_socket " + type, "zmq_setsockopt 34 1", "zmq_setsockopt 36 7200",
          "zmq_setsockopt 37 75", "zmq_setsockopt 35 9"};
}

// While it lives, calls that this thread makes into ZeroMQ are recorded and may fail, but for those
// during the life of a later one. Calls that ZeroMQ makes to its own functions are not affected.
class TransportFaults {
 public:
  TransportFaults();
  ~TransportFaults();
  TransportFaults(const TransportFaults&) = delete;
  TransportFaults& operator=(const TransportFaults&) = delete;

  // Makes the nth call from now on of a function fail with the error and do nothing. The function
  // may be given with its arguments, as in Call::text, to pick among its calls. The empty text
  // stands for every function.
  void fail(const std::string& function, int error, int nth = 1);

  // Makes the nth call from now on of a function succeed and leave the error in errno.
  void disturb(const std::string& function, int error, int nth = 1);

  // The calls so far, oldest first.
  const std::vector<Call>& calls() const { return recorded; }
  Calls texts() const;

  // What happens to a call.
  struct Fault {
    std::string function;
    int error;  // 0: nothing
    int left;
    bool works;
  };

  // For the interposed functions: records a call, and returns what happens to it.
  Fault enter(const std::string& text, const void* object);
  // Records how the latest call ended.
  void leave(bool worked);

 private:
  std::vector<Call> recorded;
  std::vector<Fault> faults;
  TransportFaults* outer;
};

// How many contexts all threads of the process have made.
int contextsMade();

// How often all threads of the process have called zmq_poll.
int pollsEntered();

// Hooks that any thread calls, before it makes a context or closes a socket and after it has sent a
// frame. Null: none.
extern void (*beforeContext)();
extern void (*beforeClose)();
extern void (*onFrameSent)();

}  // namespace support

#endif
