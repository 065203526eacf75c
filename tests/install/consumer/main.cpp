#include <tavrik/tavrik.hpp>

#include <iostream>

int main() {
  tavrik::TavrikChannel server("consumer", REQUEST_REPLY_PATTERN, REP_SERVER);
  tavrik::TavrikChannel client("consumer", REQUEST_REPLY_PATTERN, REQ_CLIENT);
  server.setProperty(REQ_REP_SERVER_ENDPOINT, "inproc://consumer");
  client.setProperty(REQ_REP_SERVER_ENDPOINT, "inproc://consumer");

  tavrik::Message message;
  char subject[SUBJECT_BUFFER_SIZE];
  client.send("question", &message);
  server.receive(subject, &message, -1);
  message.insertPart(0, "42");
  server.send("answer", &message);
  client.receive(subject, &message, -1);
  std::cout << subject << ": " << message.getPart(0) << '\n';
}
