// A weather station that publishes, and a display that subscribes to outdoor readings. They are one
// program for brevity. Usually they are two, with an endpoint such as ipc:///run/weather on one
// host or tcp://192.168.1.7:5556 on two.
#include <tavrik/tavrik.hpp>

#include <exception>
#include <iostream>

namespace {

void publish(tavrik::TavrikChannel* station, const char* subject, const char* degrees) {
  tavrik::Message reading(2);
  reading[0] = degrees;
  reading[1] = "C";
  station->send(subject, &reading);
}

// Shows one reading if there is one; otherwise returns false.
bool show(tavrik::TavrikChannel* display) {
  char subject[SUBJECT_BUFFER_SIZE];
  tavrik::Message reading;
  if (display->receive(subject, &reading, 10) != 2) return false;
  std::cout << subject << ": " << reading[0] << '\n';
  return true;
}

// A send or receive that fails is repeated in the next round.
bool playRound(tavrik::TavrikChannel* station, tavrik::TavrikChannel* display) {
  try {
    publish(station, "indoors.temperature", "21.5");
    publish(station, "outdoors.temperature", "4.0");
    return show(display);
  } catch (const std::exception& failure) {
    std::cerr << failure.what() << '\n';
    return false;
  }
}

}  // namespace

int main() {
  const char* const endpoint = "inproc://weather";
  try {
    // Setting the endpoint binds the publisher and connects the subscriber.
    tavrik::PublishSubscribeChannel station("weather", PUBLISHER);
    station.setPublisherEndPoint(endpoint);
    tavrik::PublishSubscribeChannel display("weather", SUBSCRIBER);
    display.subscribe("outdoors.");
    display.setPublisherEndPoint(endpoint);

    // A station publishes its readings repeatedly: a display misses what is published before its
    // subscription has reached the station.
    for (int rounds = 0; rounds < 1000; ++rounds) {
      if (playRound(&station, &display)) return 0;
    }
  } catch (const std::exception& failure) {
    std::cerr << failure.what() << '\n';
  }
  return 1;
}
