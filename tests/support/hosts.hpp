// Two hosts on this machine: network namespaces joined by a cable that can be cut.
#ifndef TAVRIK_TESTS_SUPPORT_HOSTS_HPP
#define TAVRIK_TESTS_SUPPORT_HOSTS_HPP

#include <support/child_process.hpp>

#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace support {

// Hosts cannot be created on this machine. The text says what is missing.
class HostsUnavailable : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// A namespace without a name, so two tests cannot use the same. The kernel removes it, with its end
// of the cable, after the end of this object and of the processes on the host.
class Host {
 public:
  Host();
  ~Host();
  Host(const Host&) = delete;
  Host& operator=(const Host&) = delete;

  // Runs a shell command on the host and returns its exit status.
  int run(const std::string& command) const;

  std::unique_ptr<ChildProcess> start(const std::vector<std::string>& command) const;

  // Disconnects and connects this end of the cable. While it is disconnected, this host cannot
  // reach the other one, and packets that the other one sends are lost.
  void pullCable() const;
  void plugCable() const;

  // Returns a TCP counter of the host by its name in /proc/net/snmp.
  long tcpCounter(const std::string& name) const;

  // The path of the namespace for other processes, valid while this object lives.
  std::string path() const;

 private:
  friend class OnHost;
  int space = -1;
};

// While it lives, its thread is on the host. Sockets that the thread opens and processes that it
// starts stay there.
class OnHost {
 public:
  explicit OnHost(const Host& host);
  ~OnHost();
  OnHost(const OnHost&) = delete;
  OnHost& operator=(const OnHost&) = delete;

 private:
  int before;
};

struct TwoHosts {
  // Throws HostsUnavailable if the process lacks the rights or a program to create them.
  TwoHosts();

  Host a;
  Host b;
  const std::string addressOfA = "10.77.0.1";
  const std::string addressOfB = "10.77.0.2";
};

}  // namespace support

#endif
