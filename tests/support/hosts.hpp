// Two hosts on this machine: network namespaces joined by a cable that can be cut.
#ifndef TAVRIK_TESTS_SUPPORT_HOSTS_HPP
#define TAVRIK_TESTS_SUPPORT_HOSTS_HPP

#include <support/child_process.hpp>

#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace support {

// Hosts cannot be made here. The text says what is missing.
class HostsUnavailable : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Has no name, so it can meet no other: the kernel removes it, with its end of the cable, once this
// object and the processes on the host are gone, however they ended.
class Host {
 public:
  Host();
  ~Host();
  Host(const Host&) = delete;
  Host& operator=(const Host&) = delete;

  // Runs a shell command on the host: its exit status.
  int run(const std::string& command) const;

  std::unique_ptr<ChildProcess> start(const std::vector<std::string>& command) const;

  // Pulls this end of the cable out and puts it in again. The host then has no way to the other
  // one; that one keeps sending, and what it sends is lost.
  void pullCable() const;
  void plugCable() const;

  // A TCP counter of the host's kernel by its name in /proc/net/snmp.
  long tcpCounter(const std::string& name) const;

  // Where another process finds the namespace while this object lives.
  std::string path() const;

 private:
  friend class OnHost;
  int space = -1;
};

// While it lives, its thread is on the host: the sockets that it opens and the processes that it
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
  // Throws HostsUnavailable without the rights or the tool to make them.
  TwoHosts();

  Host a;
  Host b;
  const std::string addressOfA = "10.77.0.1";
  const std::string addressOfB = "10.77.0.2";
};

}  // namespace support

#endif
