// The fixture of the tests between two hosts.
#ifndef TAVRIK_TESTS_NETWORK_TWO_HOSTS_TEST_HPP
#define TAVRIK_TESTS_NETWORK_TWO_HOSTS_TEST_HPP

#include <support/hosts.hpp>
#include <support/plain_socket.hpp>

#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <gtest/gtest.h>
#include <memory>
#include <optional>
#include <string>

using Clock = std::chrono::steady_clock;

// The latest time at which an expected event may happen.
inline Clock::time_point endOfPatience() {
  return Clock::now() + std::chrono::milliseconds(support::patience);
}

// The time-out of a receive in a loop.
constexpr long aMoment = 20;  // milliseconds

// Every port is free on a new host.
constexpr std::uint16_t servicePort = 5555;

inline std::string endpointOn(const std::string& address, std::uint16_t port = servicePort) {
  return "tcp://" + address + ":" + std::to_string(port);
}

// Programs on host B connect to programs on host A.
class TwoHostsTest : public testing::Test {
 protected:
  void SetUp() override {
    try {
      hosts = std::make_unique<support::TwoHosts>();
    } catch (const support::HostsUnavailable& reason) {
      const char* const ci = std::getenv("CI");
      if (ci != nullptr && *ci != '\0') FAIL() << reason.what();
      GTEST_SKIP() << reason.what();
    }
  }

  void cutCable(const support::Host& atItsEnd) {
    cut.emplace(Cut{atItsEnd, connectionsMade(), {}});
    atItsEnd.pullCable();
    cut->end = Clock::now() + std::chrono::seconds(2);
  }

  // Repeats the body until the cable has been cut for two seconds, then restores it.
  template <class Body>
  void untilRestored(Body body) {
    do body();
    while (Clock::now() < cut->end);
    cut->at.plugCable();
  }

  // Without heartbeats, connections survive the cut and TCP sends lost packets again.
  void TearDown() override {
    if (!cut) return;
    EXPECT_EQ(cut->connectionsBefore, connectionsMade()) << "a socket has connected again";
  }

  std::unique_ptr<support::TwoHosts> hosts;

 private:
  struct Cut {
    const support::Host& at;
    long connectionsBefore;
    Clock::time_point end;
  };

  long connectionsMade() const { return hosts->b.tcpCounter("ActiveOpens"); }

  std::optional<Cut> cut;
};

#endif
