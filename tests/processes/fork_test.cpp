// A program that forks: what a child may do, and what its parent notices.
#include <support/parts.hpp>
#include <support/plain_socket.hpp>
#include <support/request_reply.hpp>
#include <support/require.hpp>
#include <support/router_dealer.hpp>
#include <support/temp_dir.hpp>
#include <support/transport_faults.hpp>
#include <tavrik/error.hpp>
#include <tavrik/message.hpp>
#include <tavrik/typed_channels.hpp>

#include <dirent.h>
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <functional>
#include <gtest/gtest.h>
#include <map>
#include <stdexcept>
#include <string>
#include <thread>

namespace {

using namespace support;
using tavrik::Message;
using tavrik::TavrikChannel;

// Runs the body in a child. Returns its exit status, which is 0 if the body returns true.
int statusOfChild(const std::function<bool()>& body) {
  const pid_t child = fork();
  if (child == 0) {
    constexpr unsigned secondsAtMost = 60;
    alarm(secondsAtMost);
    bool succeeded = false;
    try {
      succeeded = body();
    } catch (const std::exception& failure) {
      std::fprintf(stderr, "child: %s\n", failure.what());
    }
    _exit(succeeded ? 0 : 1);
  }
  int status = 0;
  require(child != -1 && waitpid(child, &status, 0) == child, "child");
  return status;
}

// Whether a request and its reply arrive, with their subjects and their part.
bool exchange(TavrikChannel& server, TavrikChannel& client, const std::string& text) {
  char asked[SUBJECT_BUFFER_SIZE] = "";
  char replied[SUBJECT_BUFFER_SIZE] = "";
  Message message = messageOf({text});
  return client.send("ask", &message) == 1 && server.receive(asked, &message, patience) == 1 &&
         server.send("reply", &message) == 1 && client.receive(replied, &message, patience) == 1 &&
         asked == std::string("ask") && replied == std::string("reply") &&
         partsOf(message) == Parts{text};
}

struct RouterDealer {
  RouterDealer() {
    worker.setServerEndPoint(endpoint);
    worker.setWorkerEndPoint(dir.ipcEndpoint());
    client.setServerEndPoint(endpoint);
    Message message;
    char subject[SUBJECT_BUFFER_SIZE];
    worker.receive(subject, &message, 1);  // connects
  }

  TempDir dir;
  std::string endpoint = dir.ipcEndpoint();
  tavrik::AsyncRouterDealerChannel worker{testName(), ASYNC_DEALER_WORKER};
  tavrik::AsyncRouterDealerChannel client{testName(), ASYNC_DEALER_CLIENT};
};

TEST(ForkTest, ChildrenThatExitOrExecuteInTrafficDisturbNothing) {
  std::array<std::atomic<int>, 2> exchanges{};
  std::atomic<bool> over{false};
  const auto exchangeUntilOver = [&](TavrikChannel& server, TavrikChannel& client,
                                     std::atomic<int>& count) {
    while (!over && exchange(server, client, std::to_string(count))) ++count;
    EXPECT_TRUE(over) << "an exchange failed";
    over = true;
  };
  const auto waitForMore = [&] {
    for (std::atomic<int>& count : exchanges) {
      for (const int before = count; count == before && !over;) std::this_thread::yield();
    }
  };
  RequestReply turns;
  RouterDealer jobs;
  std::thread first([&] { exchangeUntilOver(turns.server, turns.client, exchanges[0]); });
  std::thread second([&] { exchangeUntilOver(jobs.worker, jobs.client, exchanges[1]); });
  constexpr int children = 50;
  for (int i = 0; i < children && !over; ++i) {
    waitForMore();
    EXPECT_EQ(0, statusOfChild([] { return true; }));
    EXPECT_EQ(0, statusOfChild([] { return execl("/bin/true", "true", nullptr) == 0; }));
  }
  waitForMore();
  over = true;
  first.join();
  second.join();
}

// What a program keeps open.
std::map<int, std::string> descriptors() {
  std::map<int, std::string> open;
  const std::string folder = "/proc/self/fd/";
  DIR* const directory = opendir(folder.c_str());
  while (const dirent* const entry = readdir(directory)) {
    std::array<char, 256> target{};
    if (readlink((folder + entry->d_name).c_str(), target.data(), target.size() - 1) == -1)
      continue;
    if (std::atoi(entry->d_name) != dirfd(directory))
      open[std::atoi(entry->d_name)] = target.data();
  }
  closedir(directory);
  return open;
}

TEST(ForkTest, AProgramThatAChildExecutesInheritsNoDescriptor) {
  const auto before = descriptors();
  RequestReply turns;
  RouterDealer jobs;
  tavrik::RequestReplyChannel overTcp("tcp", REQ_CLIENT);
  overTcp.setServerEndPoint(tcpEndpoint());
  Message message;
  overTcp.send("ask", &message);
  ASSERT_TRUE(exchange(turns.server, turns.client, "text"));
  ASSERT_TRUE(exchange(jobs.worker, jobs.client, "text"));
  const auto after = descriptors();
  EXPECT_GT(after.size(), before.size());
  for (const auto& [descriptor, target] : after) {
    if (before.count(descriptor) > 0) continue;
    EXPECT_NE(0, fcntl(descriptor, F_GETFD) & FD_CLOEXEC) << target;
  }
}

TEST(ForkTest, BothProcessesUseChannelsIfThereWereNoneBefore) {
  if (contextsMade() > 0) GTEST_SKIP() << "needs a process of its own";
  const auto use = [] {
    RequestReply turns;
    RouterDealer jobs;
    return exchange(turns.server, turns.client, "turns") &&
           exchange(jobs.worker, jobs.client, "jobs");
  };
  EXPECT_EQ(0, statusOfChild(use));
  EXPECT_TRUE(use());
}

TEST(ForkTest, WhatAChildSendsOverItsParentsChannelsReachesNobody) {
  constexpr int interrupted = -17498116;
  RequestReply turns;
  RouterDealer jobs;
  ASSERT_TRUE(exchange(turns.server, turns.client, "before"));
  ASSERT_TRUE(exchange(jobs.worker, jobs.client, "before"));
  EXPECT_EQ(0, statusOfChild([&] {
              for (TavrikChannel* const client :
                   {&turns.client, static_cast<TavrikChannel*>(&jobs.client)}) {
                Message message = messageOf({"child"});
                try {
                  client->send("ask", &message);
                } catch (const std::runtime_error& failure) {
                  // ZeroMQ may find out that its threads are not there.
                  if (decode_error(failure.what()) != interrupted) return false;
                }
              }
              return true;
            }));
  EXPECT_TRUE(exchange(turns.server, turns.client, "after"));
  EXPECT_TRUE(exchange(jobs.worker, jobs.client, "after"));
}

}  // namespace
