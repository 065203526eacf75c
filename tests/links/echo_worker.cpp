// A worker in a process of its own that sends every message back with its subject. Takes the client
// endpoint and any number of properties as NUMBER=VALUE, and says "ready" when its proxy listens.
#include <tavrik/tavrik.hpp>

#include <exception>
#include <iostream>
#include <string>

using tavrik::Message;
using tavrik::TavrikChannel;

int main(int argc, char** argv) {
  if (argc < 2) return 2;
  tavrik_Install_Logfn([](int, const char*) {});  // keep test lines out of the system's log
  TavrikChannel worker("echo", ASYNC_ROUTER_DEALER_PATTERN, ASYNC_DEALER_WORKER);
  worker.setProperty(ASYNC_DEALER_CLIENT_ENDPOINT, argv[1]);
  worker.setProperty(ASYNC_DEALER_WORKER_ENDPOINT, "inproc://echo");
  for (int i = 2; i < argc; ++i) {
    const std::string given = argv[i];
    const std::size_t equals = given.find('=');
    worker.setProperty(static_cast<channel_prop_t>(std::stoul(given)), given.substr(equals + 1));
  }
  char subject[SUBJECT_BUFFER_SIZE] = "";
  Message message;
  try {
    worker.receive(subject, &message, 1);  // connects
  } catch (const std::exception& failure) {
    std::cout << failure.what() << std::endl;
    return 1;
  }
  std::cout << "ready" << std::endl;
  for (;;) {
    if (worker.receive(subject, &message, -1) == 0) continue;
    worker.send(subject, &message);
  }
}
