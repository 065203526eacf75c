// A program started by the test, which talks to it over its standard input and output.
#ifndef TAVRIK_TESTS_SUPPORT_CHILD_PROCESS_HPP
#define TAVRIK_TESTS_SUPPORT_CHILD_PROCESS_HPP

#include <sys/types.h>

#include <string>
#include <vector>

namespace support {

// Killed when the object goes, unless it has ended by then, and also when the thread that started
// it ends without that, so that a test that crashes leaves nothing behind.
class ChildProcess {
 public:
  explicit ChildProcess(const std::vector<std::string>& command);
  ~ChildProcess();
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  // Waits for a line of output, without its newline; throws when there is none any more.
  std::string line();

  // Writes a line to its input.
  void tell(const std::string& line);

  // Ends it at once and waits until it is gone.
  void kill();

  // Waits until it ends by itself: its exit status, or 128 and the signal that ended it.
  int wait();

 private:
  pid_t pid = -1;
  int input = -1;
  int output = -1;
  std::string buffered;
};

}  // namespace support

#endif
