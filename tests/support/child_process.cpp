#include <support/child_process.hpp>
#include <support/require.hpp>

#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <stdexcept>

namespace support {

ChildProcess::ChildProcess(const std::vector<std::string>& command) {
  std::array<int, 2> toChild{};
  std::array<int, 2> fromChild{};
  require(pipe2(toChild.data(), O_CLOEXEC) == 0, "pipe2");
  require(pipe2(fromChild.data(), O_CLOEXEC) == 0, "pipe2");
  std::vector<char*> arguments;
  for (const std::string& argument : command) {
    arguments.push_back(const_cast<char*>(argument.c_str()));
  }
  arguments.push_back(nullptr);
  pid = fork();
  require(pid != -1, "fork");
  if (pid == 0) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    dup2(toChild[0], STDIN_FILENO);
    dup2(fromChild[1], STDOUT_FILENO);
    execv(arguments[0], arguments.data());
    _exit(127);
  }
  close(toChild[0]);
  close(fromChild[1]);
  input = toChild[1];
  output = fromChild[0];
}

ChildProcess::~ChildProcess() {
  kill();
  closeInput();
  close(output);
}

std::string ChildProcess::line() {
  for (;;) {
    const std::size_t end = buffered.find('\n');
    if (end != std::string::npos) {
      std::string first = buffered.substr(0, end);
      buffered.erase(0, end + 1);
      return first;
    }
    std::array<char, 4096> chunk{};
    const ssize_t size = read(output, chunk.data(), chunk.size());
    if (size == -1 && errno == EINTR) continue;
    if (size <= 0) throw std::runtime_error("the process has ended its output");
    buffered.append(chunk.data(), static_cast<std::size_t>(size));
  }
}

void ChildProcess::tell(const std::string& line) {
  const std::string text = line + "\n";
  require(write(input, text.data(), text.size()) == static_cast<ssize_t>(text.size()), "write");
}

void ChildProcess::closeInput() {
  if (input != -1) close(input);
  input = -1;
}

void ChildProcess::kill() {
  if (pid == -1) return;
  ::kill(pid, SIGKILL);
  wait();
}

void ChildProcess::signal(int number) const {
  // kill() would send to every process if there is none here.
  require(pid > 0 && ::kill(pid, number) == 0, "kill");
}

bool ChildProcess::hasEnded() const {
  siginfo_t state{};
  require(waitid(P_PID, static_cast<id_t>(pid), &state, WEXITED | WNOHANG | WNOWAIT) == 0,
          "waitid");
  return state.si_pid != 0;
}

int ChildProcess::wait() {
  int status = 0;
  while (waitpid(pid, &status, 0) == -1) require(errno == EINTR, "waitpid");
  pid = -1;
  constexpr int signalled = 128;
  return WIFEXITED(status) ? WEXITSTATUS(status) : signalled + WTERMSIG(status);
}

}  // namespace support
