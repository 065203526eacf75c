// A thermostat that replies, and a client that asks. They are one program for brevity. Usually they
// are two, with an endpoint such as ipc:///run/thermostat on one host or tcp://192.168.1.7:5555 on
// two.
#include <tavrik/tavrik.hpp>

#include <exception>
#include <iostream>

int main() {
  const char* const endpoint = "inproc://thermostat";
  char subject[SUBJECT_BUFFER_SIZE];
  try {
    tavrik::TavrikChannel server("thermostat", REQUEST_REPLY_PATTERN, REP_SERVER);
    tavrik::TavrikChannel client("thermostat", REQUEST_REPLY_PATTERN, REQ_CLIENT);
    server.setProperty(REQ_REP_SERVER_ENDPOINT, endpoint);
    client.setProperty(REQ_REP_SERVER_ENDPOINT, endpoint);

    // The client sends a request: a subject and any number of parts.
    tavrik::Message question(1);
    question[0] = "living room";
    client.send("temperature", &question);

    // The server waits for a request and replies to it.
    tavrik::Message request;
    if (server.receive(subject, &request, 1000) != 1) return 1;
    std::cout << "asked for the " << subject << " of the " << request[0] << '\n';
    tavrik::Message reply(2);
    reply[0] = "21.5";
    reply[1] = "C";
    server.send("reading", &reply);

    // The client waits at most a second.
    tavrik::Message answer;
    if (client.receive(subject, &answer, 1000) != 2) return 1;
    std::cout << subject << ": " << answer[0] << '\n';
    return 0;
  } catch (const std::exception& failure) {
    std::cerr << failure.what() << '\n';
    return 1;
  }
}
