/* A weather station that publishes, and a display that subscribes to outdoor readings. They are one
 * program for brevity. Usually they are two, with an endpoint such as ipc:///run/weather on one
 * host or tcp://192.168.1.7:5556 on two. */
#include <tavrik/tavrik.h>

#include <stdio.h>

#define ENDPOINT "inproc://weather"

int main(void) {
  tavrik_channel_t* station = tavrik_createChannel("weather", PUBLISH_SUBSCRIBE_PATTERN, PUBLISHER);
  tavrik_channel_t* display =
      tavrik_createChannel("weather", PUBLISH_SUBSCRIBE_PATTERN, SUBSCRIBER);
  tavrik_message_t* message = tavrik_createMessage(0);
  char subject[SUBJECT_BUFFER_SIZE];
  char text[32];
  int status = 1;

  /* Setting the endpoint binds the publisher and connects the subscriber. */
  if (tavrik_setProperty(station, PUB_SUB_PUBLISHER_ENDPOINT, ENDPOINT) != 0) goto done;
  if (tavrik_setProperty(display, PUB_SUB_SUBSCRIBE_FILTER, "outdoors.") != 0) goto done;
  if (tavrik_setProperty(display, PUB_SUB_PUBLISHER_ENDPOINT, ENDPOINT) != 0) goto done;

  /* A station publishes its readings repeatedly: a display misses what is published before its
   * subscription has reached the station. A send or receive that fails is repeated in the next
   * round. */
  for (int rounds = 0; rounds < 1000; ++rounds) {
    tavrik_send(station, "indoors.temperature", 2, "21.5", "C");
    tavrik_send(station, "outdoors.temperature", 2, "4.0", "C");
    if (tavrik_receivemsg(display, subject, message, 10) != 2) continue;
    if (tavrik_getPartlength(message, 0) >= (int)sizeof text) continue;
    tavrik_getPart(message, 0, text);
    printf("%s: %s\n", subject, text);
    status = 0;
    break;
  }

done:
  tavrik_deleteMessage(message);
  tavrik_deleteChannel(display);
  tavrik_deleteChannel(station);
  return status;
}
