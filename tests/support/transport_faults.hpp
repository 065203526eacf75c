// Stands between the library and ZeroMQ: records the calls of this thread, and makes some fail.
//
// The test program defines ZeroMQ's functions itself and hands each call on, so nothing in the
// library knows of it.
#ifndef TAVRIK_TESTS_SUPPORT_TRANSPORT_FAULTS_HPP
#define TAVRIK_TESTS_SUPPORT_TRANSPORT_FAULTS_HPP

#include <string>
#include <vector>

namespace support {

struct Call {
  std::string text;    // the function and what matters of its arguments: "zmq_setsockopt 34 1"
  const void* object;  // the socket, frame or context that it was called with
};

// While it lives, calls that this thread makes into ZeroMQ are recorded and may fail. Calls that
// ZeroMQ makes of itself are neither.
class TransportFaults {
 public:
  TransportFaults();
  ~TransportFaults();
  TransportFaults(const TransportFaults&) = delete;
  TransportFaults& operator=(const TransportFaults&) = delete;

  // Makes the nth call from now on of a function fail with the error and do nothing. The function
  // may be given with its arguments, as in Call::text, to pick among its calls.
  void fail(const std::string& function, int error, int nth = 1);

  // Makes the nth call from now on of a function do its work and leave the error in errno, as a
  // call may that succeeds.
  void disturb(const std::string& function, int error, int nth = 1);

  // The calls so far, oldest first.
  const std::vector<Call>& calls() const { return recorded; }
  std::vector<std::string> texts() const;

  // What happens to a call.
  struct Fault {
    std::string function;
    int error;  // 0: nothing
    int left;
    bool works;
  };

  // For the interposed functions: records a call, and answers what happens to it.
  Fault enter(const std::string& text, const void* object);

 private:
  std::vector<Call> recorded;
  std::vector<Fault> faults;
};

// How many contexts the process has made, by whatever thread.
int contextsMade();

// How often zmq_poll has been entered, by whatever thread.
int pollsEntered();

// Called before a context is made and after a frame has been sent, by whatever thread does it.
// Null: nothing.
extern void (*beforeContext)();
extern void (*onFrameSent)();

}  // namespace support

#endif
