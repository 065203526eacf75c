// A program that a test starts and talks to over its standard input and output.
#ifndef TAVRIK_TESTS_SUPPORT_CHILD_PROCESS_HPP
#define TAVRIK_TESTS_SUPPORT_CHILD_PROCESS_HPP

#include <sys/types.h>

#include <string>
#include <vector>

namespace support {

// The destructor kills the program if it still runs. The kernel kills it if the thread that started
// it ends, so a test that crashes leaves no process.
class ChildProcess {
 public:
  explicit ChildProcess(const std::vector<std::string>& command);
  ~ChildProcess();
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  // Waits for a line of output and returns it without its newline. Throws at the end of the output.
  std::string line();

  // Writes a line to its input.
  void tell(const std::string& line);

  // Ends its input.
  void closeInput();

  // Kills it and waits until it has ended.
  void kill();

  // Sends it a signal, such as SIGSTOP.
  void signal(int number) const;

  // Whether it has ended by itself. wait() still returns how.
  bool hasEnded() const;

  // Waits until it ends by itself. Returns its exit status, or 128 plus the signal that ended it.
  int wait();

 private:
  pid_t pid = -1;
  int input = -1;
  int output = -1;
  std::string buffered;
};

}  // namespace support

#endif
