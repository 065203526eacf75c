/* A program that has no C++ in it: loads the library, exchanges a message and exits. */
#include <tavrik/tavrik.h>

#include <stdio.h>
#include <string.h>

int main(void) {
  tavrik_channel_t* const server = tavrik_createChannel("c", REQUEST_REPLY_PATTERN, REP_SERVER);
  tavrik_channel_t* const client = tavrik_createChannel("c", REQUEST_REPLY_PATTERN, REQ_CLIENT);
  tavrik_message_t* const message = tavrik_createMessage(0);
  char subject[SUBJECT_BUFFER_SIZE] = "";
  tavrik_setProperty(server, REQ_REP_SERVER_ENDPOINT, "inproc://c");
  tavrik_setProperty(client, REQ_REP_SERVER_ENDPOINT, "inproc://c");
  const int sent = tavrik_send(client, "hello", 1, "x");
  const int received = tavrik_receivemsg(server, subject, message, -1);
  tavrik_deleteMessage(message);
  tavrik_deleteChannel(client);
  tavrik_deleteChannel(server);
  return sent == 1 && received == 1 && strcmp(subject, "hello") == 0 ? 0 : 1;
}
