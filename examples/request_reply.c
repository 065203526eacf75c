/* A thermostat that replies, and a client that asks. They are one program for brevity. Usually they
 * are two, with an endpoint such as ipc:///run/thermostat on one host or tcp://192.168.1.7:5555 on
 * two. request_reply_server.c is a server for any number of clients. */
#include <tavrik/tavrik.h>

#include <stdio.h>

#define ENDPOINT "inproc://thermostat"

int main(void) {
  tavrik_channel_t* server = tavrik_createChannel("thermostat", REQUEST_REPLY_PATTERN, REP_SERVER);
  tavrik_channel_t* client = tavrik_createChannel("thermostat", REQUEST_REPLY_PATTERN, REQ_CLIENT);
  tavrik_message_t* message = tavrik_createMessage(0);
  char subject[SUBJECT_BUFFER_SIZE];
  char text[32];
  int status = 1;

  tavrik_setProperty(server, REQ_REP_SERVER_ENDPOINT, ENDPOINT);
  tavrik_setProperty(client, REQ_REP_SERVER_ENDPOINT, ENDPOINT);

  /* The client sends a request: a subject and any number of parts. */
  if (tavrik_send(client, "temperature", 1, "living room") < 0) goto done;

  /* The server waits for a request and replies to it. */
  if (tavrik_receivemsg(server, subject, message, 1000) != 1) goto done;
  if (tavrik_getPartlength(message, 0) >= (int)sizeof text) goto done;
  tavrik_getPart(message, 0, text);
  printf("asked for the %s of the %s\n", subject, text);
  if (tavrik_send(server, "reading", 2, "21.5", "C") < 0) goto done;

  /* The client waits for the two parts, at most a second. After a time-out the result is 0. */
  if (tavrik_receivemsg(client, subject, message, 1000) != 2) goto done;
  if (tavrik_getPartlength(message, 0) >= (int)sizeof text) goto done;
  tavrik_getPart(message, 0, text);
  printf("%s: %s\n", subject, text);
  status = 0;

done:
  tavrik_deleteMessage(message);
  tavrik_deleteChannel(client);
  tavrik_deleteChannel(server);
  return status;
}
