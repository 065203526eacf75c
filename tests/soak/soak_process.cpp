// A process of the soak. Takes its role as its arguments:
//   servers DIRECTORY SUBSCRIBERS SABOTAGE  prints the endpoints on one line
//   clients FIRST ENDPOINT ...              clients are numbered from FIRST
// and reads one order a line:
//   report  prints the counts of requests, jobs, news and faults, and the footprint
//   finish  starts nothing new, waits until all has arrived, then reports
//   end     ends the process
#include "clients.hpp"
#include "servers.hpp"

#include <support/footprint.hpp>

#include <cstdlib>
#include <iostream>
#include <string>
#include <vector>

namespace {

using soak::Endpoints;
using soak::State;

void report(const State& state) {
  std::cout << state.requests << ' ' << state.jobs << ' ' << state.news << ' ' << state.faults
            << ' ' << support::Footprint::now() << std::endl;
}

template <class Role>
void obey(State& state, Role& role) {
  for (std::string order; std::cin >> order && order != "end"; report(state)) {
    if (order != "finish") continue;
    state.finishing = true;
    role.finish();
  }
}

int serve(const std::string& directory, std::size_t subscribers, const std::string& sabotage) {
  State state;
  soak::Sabotage fault(sabotage);
  soak::Servers servers(state, fault, directory, subscribers);
  for (const Endpoints& all : {servers.ipc, servers.tcp}) {
    std::cout << all.requests << ' ' << all.jobs << ' ' << all.feed << ' ' << all.progress << ' ';
  }
  std::cout << std::endl;
  servers.start();
  obey(state, servers);
  state.ending = true;
  servers.end();
  return EXIT_SUCCESS;
}

int ask(int first, const std::vector<std::string>& endpoints) {
  State state;
  const Endpoints ipc{endpoints[0], endpoints[1], endpoints[2], endpoints[3]};
  const Endpoints tcp{endpoints[4], endpoints[5], endpoints[6], endpoints[7]};
  soak::Clients clients(state, first, ipc, tcp);
  obey(state, clients);
  return EXIT_SUCCESS;
}

}  // namespace

int main(int argc, char** argv) {
  const std::vector<std::string> arguments(argv + 1, argv + argc);
  if (arguments.size() == 4 && arguments[0] == "servers") {
    return serve(arguments[1], std::stoul(arguments[2]), arguments[3]);
  }
  if (arguments.size() == 10 && arguments[0] == "clients") {
    return ask(std::stoi(arguments[1]), {arguments.begin() + 2, arguments.end()});
  }
  return 2;
}
