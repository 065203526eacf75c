// What the library does when the system gives it nothing more: which code, which text, and that it
// works again afterwards. A limit of the process ends with it: CTest runs each test in a process of
// its own.
#include "../links/roles.hpp"

#include <support/failure.hpp>
#include <support/footprint.hpp>
#include <support/parts.hpp>
#include <support/temp_dir.hpp>
#include <tavrik/error.hpp>
#include <tavrik/message.hpp>
#include <tavrik/tavrik.h>
#include <tavrik/tavrik_channel.hpp>

#include <fcntl.h>
#include <sched.h>
#include <signal.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <gtest/gtest.h>
#include <iostream>
#include <ostream>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using links::Channel;
using links::Role;
using tavrik::Message;

int channelsMade = 3000;

// A channel whose endpoint is set, but which is not connected yet unless it publishes or
// subscribes.
Channel channelAt(const Role& role, const std::string& endpoint) {
  Channel channel = links::make(role);
  links::setEndpoint(*channel, endpoint);
  return channel;
}

// A server, publisher or worker binds the endpoint.
Channel connected(const Role& role, const std::string& endpoint) {
  Channel channel = channelAt(role, endpoint);
  links::connect(*channel);
  return channel;
}

void expectExchange(const std::string& endpoint) {
  const Channel server = connected(links::replier, endpoint);
  const Channel client = channelAt(links::requester, endpoint);
  Message message = support::messageOf({"part"});
  std::array<char, SUBJECT_BUFFER_SIZE> subject{};
  ASSERT_EQ(1, client->send("subject", &message));
  ASSERT_EQ(1, server->receive(subject.data(), &message, support::patience));
  ASSERT_EQ(1, server->send("subject", &message));
  EXPECT_EQ(1, client->receive(subject.data(), &message, support::patience));
}

std::string bindingFailed(const std::string& endpoint, const std::string& text, int error) {
  constexpr int site = 0x1090000;
  return "Failed to bind ZeroMQ Socket : " + text + " : End Point : " + endpoint +
         "zeromq:" + std::to_string(site | error);
}

class LimitsTest : public testing::Test {
 protected:
  void SetUp() override { tavrik_Install_Logfn(nullptr); }

  support::TempDir dir;
  const std::string endpoint = dir.ipcEndpoint();
};

// Lowers a limit of the process while it lives.
class Limit {
 public:
  Limit(__rlimit_resource resource, rlim_t value) : which(resource) {
    getrlimit(which, &before);
    const rlimit lowered{value, before.rlim_max};
    if (setrlimit(which, &lowered) != 0) throw std::runtime_error("setrlimit");
  }
  ~Limit() { setrlimit(which, &before); }
  Limit(const Limit&) = delete;
  Limit& operator=(const Limit&) = delete;

 private:
  const __rlimit_resource which;
  rlimit before{};
};

// Takes all descriptors while it lives, but for a few.
class Descriptors {
 public:
  explicit Descriptors(std::size_t left) {
    for (int taken = 0; (taken = open("/dev/null", O_RDONLY | O_CLOEXEC)) != -1;) {
      all.push_back(taken);
    }
    giveBack(left);
  }
  ~Descriptors() { giveBack(all.size()); }
  Descriptors(const Descriptors&) = delete;
  Descriptors& operator=(const Descriptors&) = delete;

 private:
  void giveBack(std::size_t count) {
    for (; count > 0; --count, all.pop_back()) close(all.back());
  }

  static constexpr rlim_t few = 256;
  const Limit limit{RLIMIT_NOFILE, few};
  std::vector<int> all;
};

constexpr char noMoreDescriptors[] =
    "Failed to create ZeroMQ Socket : Too many open fileszeromq:16842776";

TEST_F(LimitsTest, WithoutDescriptorsNoRoleGetsASocketUntilThereAreSomeAgain) {
  if (!support::memoryIsMeaningful) GTEST_SKIP() << "the sanitizers need descriptors";
  const Channel first = connected(links::replier, dir.ipcEndpoint());
  {
    const Descriptors none(0);
    for (const Role& role : links::allRoles) {
      SCOPED_TRACE(role.name);
      EXPECT_FAILURE(std::runtime_error, noMoreDescriptors, connected(role, endpoint));
    }
  }
  for (const Role& role : links::allRoles) {
    SCOPED_TRACE(role.name);
    EXPECT_NO_THROW(connected(role, dir.ipcEndpoint()));
  }
  expectExchange(endpoint);
}

TEST_F(LimitsTest, WithOneDescriptorAServerGetsASocketAndCannotBindIt) {
  if (!support::memoryIsMeaningful) GTEST_SKIP() << "the sanitizers need descriptors";
  const Channel first = connected(links::replier, dir.ipcEndpoint());
  {
    const Descriptors one(1);
    EXPECT_FAILURE(std::runtime_error, bindingFailed(endpoint, "Too many open files", EMFILE),
                   connected(links::replier, endpoint));
  }
  expectExchange(endpoint);
}

// The first socket of a process starts ZeroMQ's threads. ZeroMQ ends the process if it cannot.
TEST_F(LimitsTest, TheFirstSocketOfAProcessNeedsDescriptorsForTheThreadsToo) {
  bool works = false;
  for (std::size_t left = 0; !works; ++left) {
    const pid_t child = fork();
    if (child == 0) {
      const Limit noCoreFile(RLIMIT_CORE, 0);
      const Descriptors few(left);
      try {
        connected(links::replier, endpoint);
        _exit(0);
      } catch (const std::runtime_error& failure) {
        constexpr int errorOfCode = 0xffff;
        _exit((-decode_error(failure.what()) & errorOfCode) == EMFILE ? 1 : 2);
      }
    }
    int status = 0;
    ASSERT_EQ(child, waitpid(child, &status, 0));
    works = WIFEXITED(status) && WEXITSTATUS(status) == 0;
    const bool refused = WIFEXITED(status) && WEXITSTATUS(status) == 1;
    const bool aborted = WIFSIGNALED(status) && WTERMSIG(status) == SIGABRT;
    EXPECT_TRUE(works || refused || aborted) << left << " descriptors: status " << status;
    std::cout << left << " descriptors: "
              << (works     ? "works"
                  : refused ? "is refused"
                            : "ZeroMQ aborts")
              << '\n';
    ASSERT_LT(left, 32U);
  }
}

// ZeroMQ's largest number of sockets of a context.
TEST_F(LimitsTest, The1024thSocketIsRefusedUntilOneIsDeleted) {
  constexpr std::size_t most = 1023;
  std::vector<Channel> channels;
  while (channels.size() < most) {
    channels.push_back(connected(links::requester, endpoint));
  }
  EXPECT_FAILURE(std::runtime_error, noMoreDescriptors, connected(links::replier, endpoint));
  channels.resize(most - 2);
  // A deleted socket's place is free a moment later.
  const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(support::patience);
  bool served = false;
  while (!served && std::chrono::steady_clock::now() < end) {
    try {
      expectExchange(dir.ipcEndpoint());
      served = true;
    } catch (const std::runtime_error& failure) {
      ASSERT_STREQ(noMoreDescriptors, failure.what());
    }
  }
  EXPECT_TRUE(served);
}

// ---- Endpoints that cannot be bound

struct Refusal {
  std::string name;
  std::string (*endpoint)(const std::string& directory);
  std::string text;
  int error;
};

void PrintTo(const Refusal& refusal, std::ostream* out) {
  *out << refusal.name;
}

const std::vector<Refusal> refusals{
    {"PathTooLong",
     [](const std::string& directory) {
       return "ipc://" + directory + "/" + std::string(108, 'l');
     },
     "File name too long", ENAMETOOLONG},
    {"NoDirectory", [](const std::string& directory) { return "ipc://" + directory + "/no/path"; },
     "No such file or directory", ENOENT},
    {"FileForADirectory",
     [](const std::string& directory) {
       std::ofstream(directory + "/file") << "text";
       return "ipc://" + directory + "/file/path";
     },
     "Not a directory", ENOTDIR},
    {"NotWritable", [](const std::string&) { return std::string("ipc:///proc/path"); },
     "No such file or directory", ENOENT},
    {"ForeignAddress", [](const std::string&) { return std::string("tcp://192.0.2.1:5555"); },
     "Cannot assign requested address", EADDRNOTAVAIL},
};

const std::vector<Role> bindingRoles{links::replier, links::publisher, links::worker};

class RefusedEndpointTest : public LimitsTest, public testing::WithParamInterface<Refusal> {};

TEST_P(RefusedEndpointTest, FailsWithItsTextAndTheNextEndpointWorks) {
  const Refusal& refusal = GetParam();
  const std::string refused = refusal.endpoint(dir.path());
  for (const Role& role : bindingRoles) {
    SCOPED_TRACE(role.name);
    EXPECT_FAILURE(std::runtime_error, bindingFailed(refused, refusal.text, refusal.error),
                   connected(role, refused));
  }
  expectExchange(endpoint);
}

INSTANTIATE_TEST_SUITE_P(, RefusedEndpointTest, testing::ValuesIn(refusals),
                         [](const auto& test) { return test.param.name; });

TEST_F(LimitsTest, APortInUseIsRefusedUntilItIsFree) {
  std::string taken;
  Channel holder;
  while (holder == nullptr) {
    try {
      taken = support::tcpEndpoint();
      holder = connected(links::replier, taken);
    } catch (const std::runtime_error&) {
      holder = nullptr;  // another process was faster
    }
  }
  for (const Role& role : bindingRoles) {
    SCOPED_TRACE(role.name);
    EXPECT_FAILURE(std::runtime_error, bindingFailed(taken, "Address already in use", EADDRINUSE),
                   connected(role, taken));
  }
  holder = nullptr;
  const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(support::patience);
  bool bound = false;
  while (!bound && std::chrono::steady_clock::now() < end) {
    try {
      expectExchange(taken);
      bound = true;
    } catch (const std::runtime_error&) {
    }
  }
  EXPECT_TRUE(bound);
}

// A file system of this process alone, with room for few files.
TEST_F(LimitsTest, OnAFullFileSystemNoPathIsBoundUntilThereIsRoom) {
  const auto skipOrFail = [](const std::string& reason) {
    const char* const ci = std::getenv("CI");
    if (ci != nullptr && *ci != '\0') FAIL() << reason;
    GTEST_SKIP() << reason;
  };
  const std::string directory = dir.path() + "/full";
  mkdir(directory.c_str(), 0700);
  if (unshare(CLONE_NEWNS) != 0 || mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
      mount("none", directory.c_str(), "tmpfs", 0, "nr_inodes=4") != 0) {
    return skipOrFail(std::string("a file system takes root: ") + std::strerror(errno));
  }
  const std::string path = directory + "/path";
  std::vector<std::string> files;
  do {
    files.push_back(directory + "/" + std::to_string(files.size()));
  } while (std::ofstream(files.back()).is_open());
  for (const Role& role : bindingRoles) {
    SCOPED_TRACE(role.name);
    EXPECT_FAILURE(std::runtime_error,
                   bindingFailed("ipc://" + path, "No space left on device", ENOSPC),
                   connected(role, "ipc://" + path));
  }
  unlink(files.front().c_str());
  expectExchange("ipc://" + path);
  umount2(directory.c_str(), MNT_DETACH);
}

// ---- Address space

TEST_F(LimitsTest, WithoutAddressSpaceAMessageIsRefusedAndASmallerOneIsSent) {
  if (!support::memoryIsMeaningful) GTEST_SKIP() << "the sanitizers need the address space";
  constexpr std::size_t large = 64UL << 20U;
  const Channel server = connected(links::replier, endpoint);
  const Channel client = channelAt(links::requester, endpoint);
  Message message = support::messageOf({std::string(large, 'l')});
  std::ifstream statm("/proc/self/statm");
  rlim_t pages = 0;
  statm >> pages;
  {
    const Limit limit(RLIMIT_AS, pages * static_cast<rlim_t>(sysconf(_SC_PAGESIZE)) + (8UL << 20U));
    EXPECT_FAILURE(
        std::runtime_error,
        "Failed to initialize ZeroMQ messagepart : Cannot allocate memoryzeromq:17629196",
        client->send("subject", &message));
  }
  EXPECT_EQ(large, message.getPart(0).size());
  expectExchange(dir.ipcEndpoint());
}

// ---- Many channels, one after the other

TEST_F(LimitsTest, ManyChannelsAreMadeAndDeletedAndLeaveNothing) {
  const auto makeAndDelete = [&](int count) {
    for (int i = 0; i < count; ++i) {
      // A worker's proxy stays. Its role is left out.
      const Role& role = links::allRoles[static_cast<std::size_t>(i) % 5];
      // Deleted sockets are closed in the background.
      while (true) {
        try {
          connected(role, endpoint);
          break;
        } catch (const std::runtime_error& failure) {
          ASSERT_STREQ(noMoreDescriptors, failure.what());
        }
      }
    }
  };
  // Returns what the process holds when the deleted sockets are closed.
  const auto settled = [](long descriptors) {
    const auto end =
        std::chrono::steady_clock::now() + std::chrono::milliseconds(support::patience);
    support::Footprint now;
    do {
      now = support::Footprint::now();
    } while (now.descriptors > descriptors && std::chrono::steady_clock::now() < end);
    EXPECT_EQ(descriptors, now.descriptors);
    return now;
  };
  constexpr long allowed = 4096;  // kB
  const Channel first = connected(links::replier, dir.ipcEndpoint());
  const long descriptors = support::Footprint::now().descriptors;
  // Few at a time, so that what waits to be closed is no more later than at first.
  const auto repeat = [&](int count) {
    constexpr int together = 100;
    for (int i = 0; i < count; i += together) {
      makeAndDelete(together);
      settled(descriptors);
    }
    return settled(descriptors);
  };
  const support::Footprint before = repeat(1000);
  const support::Footprint after = repeat(channelsMade);
  EXPECT_TRUE(!support::memoryIsMeaningful || after.memory <= before.memory + allowed)
      << before.memory << " kB before, " << after.memory << " kB after";
  std::cout << channelsMade << " channels; before " << before << ", after " << after << '\n';
}

}  // namespace

// The argument is the number of channels that are made and deleted.
int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  if (argc > 1) channelsMade = std::atoi(argv[1]);
  return RUN_ALL_TESTS();
}
