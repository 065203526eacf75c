// A process of the test. Takes the path of the ledger, the seed of the contents, and its role:
//   servers REQUESTS JOBS HEARTBEAT SABOTAGE   binds the two endpoints
//   clients FIRST REQUESTS JOBS ...            clients of each endpoint, numbered from FIRST
// and reads one order a line:
//   report  prints the footprint
//   finish  stops when all clients have been served once more, and prints the footprint
//   end     ends the process
#include "client.hpp"
#include "ledger.hpp"
#include "servers.hpp"
#include "storm.hpp"

#include <support/footprint.hpp>
#include <tavrik/tavrik.h>

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <iostream>
#include <list>
#include <string>
#include <thread>
#include <vector>

namespace {

using Arguments = std::vector<std::string>;

// The clients of the process, each in a thread of its own.
class Clients {
 public:
  Clients(deaths::Ledger& ledger, std::uint32_t seed, int first, const Arguments& endpoints) {
    for (std::size_t i = 0; i < endpoints.size(); ++i) {
      const pattern_t pattern = i % 2 == 0 ? REQUEST_REPLY_PATTERN : ASYNC_ROUTER_DEALER_PATTERN;
      deaths::Client& client =
          clients.emplace_back(ledger, first + static_cast<int>(i), pattern, endpoints[i], seed);
      threads.emplace_back([&] { client.run(finishing); });
    }
  }

  void finish() {
    finishing = true;
    for (std::thread& thread : threads) thread.join();
  }

 private:
  std::atomic<bool> finishing{false};
  std::list<deaths::Client> clients;
  std::list<std::thread> threads;
};

void obey(const std::function<void()>& finish) {
  for (std::string order; std::cin >> order && order != "end";) {
    if (order == "finish") finish();
    std::cout << support::Footprint::now() << std::endl;
  }
}

}  // namespace

int main(int argc, char** argv) {
  const Arguments arguments(argv + 1, argv + argc);
  if (arguments.size() < 6) return 2;
  tavrik_Install_Logfn(nullptr);
  deaths::handleStorm();
  const deaths::SharedLedger ledger(arguments[0]);
  const auto seed = static_cast<std::uint32_t>(std::stoul(arguments[1]));
  if (arguments[2] == "servers" && arguments.size() == 7) {
    const deaths::Servers servers(*ledger, arguments[3], arguments[4], arguments[5], seed,
                                  arguments[6]);
    obey([] {});
    return EXIT_SUCCESS;
  }
  if (arguments[2] == "clients") {
    Clients clients(*ledger, seed, std::stoi(arguments[3]),
                    {arguments.begin() + 4, arguments.end()});
    obey([&] { clients.finish(); });
    return EXIT_SUCCESS;
  }
  return 2;
}
