// A weather station that publishes, and a display that wants what is outdoors, in one program for
// brevity. In life they are two, with an endpoint such as ipc:///run/weather on one host or
// tcp://192.168.1.7:5556 on two.
#include <tavrik/tavrik.hpp>

#include <exception>
#include <iostream>

int main() {
  const char* const endpoint = "inproc://weather";
  char subject[SUBJECT_BUFFER_SIZE];
  try {
    // Setting the endpoint is what binds the publisher and connects the subscriber.
    tavrik::PublishSubscribeChannel station("weather", PUBLISHER);
    station.setPublisherEndPoint(endpoint);
    tavrik::PublishSubscribeChannel display("weather", SUBSCRIBER);
    display.subscribe("outdoors.");
    display.setPublisherEndPoint(endpoint);

    tavrik::Message indoors(2);
    indoors[0] = "21.5";
    indoors[1] = "C";
    tavrik::Message outdoors(2);
    outdoors[0] = "4.0";
    outdoors[1] = "C";

    // What is published before the subscription has reached the station is not kept for it; so a
    // station says again and again how things are.
    for (int rounds = 0; rounds < 1000; ++rounds) {
      station.send("indoors.temperature", &indoors);
      station.send("outdoors.temperature", &outdoors);
      tavrik::Message reading;
      if (display.receive(subject, &reading, 10) != 2) continue;
      std::cout << subject << ": " << reading[0] << '\n';
      return 0;
    }
  } catch (const std::exception& failure) {
    std::cerr << failure.what() << '\n';
  }
  return 1;
}
