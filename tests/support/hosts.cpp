#include <support/hosts.hpp>
#include <support/require.hpp>

#include <fcntl.h>
#include <sched.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>

namespace support {
namespace {

int currentSpace() {
  const int space = open("/proc/thread-self/ns/net", O_RDONLY | O_CLOEXEC);
  require(space != -1, "open the network namespace");
  return space;
}

// If the thread cannot leave the host, later tests would run there, so the program ends.
void enterOrAbort(int space) {
  if (setns(space, CLONE_NEWNET) != 0) std::abort();
}

void configure(const Host& host, const std::string& address) {
  const std::string command =
      "ip address add " + address + "/24 dev cable && ip link set cable up && ip link set lo up";
  if (host.run(command) != 0) throw std::runtime_error("the host " + address + " has no network");
}

}  // namespace

Host::Host() {
  const int before = currentSpace();
  if (unshare(CLONE_NEWNET) != 0) {
    const int error = errno;
    close(before);
    throw HostsUnavailable(std::string("no network namespace can be made, which takes root: ") +
                           std::strerror(error));
  }
  space = currentSpace();
  enterOrAbort(before);
  close(before);
}

Host::~Host() {
  close(space);
}

int Host::run(const std::string& command) const {
  return start({"/bin/sh", "-c", command})->wait();
}

std::unique_ptr<ChildProcess> Host::start(const std::vector<std::string>& command) const {
  const OnHost here(*this);
  return std::make_unique<ChildProcess>(command);
}

void Host::pullCable() const {
  if (run("ip link set cable down") != 0) throw std::runtime_error("the cable sits tight");
}

void Host::plugCable() const {
  if (run("ip link set cable up") != 0) throw std::runtime_error("the cable stays out");
}

long Host::tcpCounter(const std::string& name) const {
  const OnHost here(*this);
  std::ifstream file("/proc/thread-self/net/snmp");
  for (std::string names, values; std::getline(file, names) && std::getline(file, values);) {
    std::istringstream eachName(names);
    std::istringstream eachValue(values);
    std::string group;
    std::string value;
    eachName >> group;
    eachValue >> value;
    if (group != "Tcp:") continue;
    for (std::string found; eachName >> found && eachValue >> value;) {
      if (found == name) return std::stol(value);
    }
  }
  throw std::runtime_error("no TCP counter " + name);
}

std::string Host::path() const {
  return "/proc/" + std::to_string(getpid()) + "/fd/" + std::to_string(space);
}

OnHost::OnHost(const Host& host) : before(currentSpace()) {
  require(setns(host.space, CLONE_NEWNET) == 0, "setns");
}

OnHost::~OnHost() {
  enterOrAbort(before);
  close(before);
}

TwoHosts::TwoHosts() {
  constexpr int commandNotFound = 127;
  const int status = a.run("ip link add cable type veth peer name cable netns " + b.path());
  if (status == commandNotFound) {
    throw HostsUnavailable("no `ip`, which Debian has in the package iproute2");
  }
  if (status != 0) throw HostsUnavailable("no veth pair can be made: `ip` failed");
  configure(a, addressOfA);
  configure(b, addressOfB);
}

}  // namespace support
