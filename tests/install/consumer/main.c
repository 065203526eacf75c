#include <tavrik/tavrik.h>

#include <stdio.h>

int main(void) {
  tavrik_channel_t* server = tavrik_createChannel("consumer", REQUEST_REPLY_PATTERN, REP_SERVER);
  tavrik_channel_t* client = tavrik_createChannel("consumer", REQUEST_REPLY_PATTERN, REQ_CLIENT);
  tavrik_message_t* message = tavrik_createMessage(0);
  char subject[SUBJECT_BUFFER_SIZE];
  char answer[16] = "";

  tavrik_setProperty(server, REQ_REP_SERVER_ENDPOINT, "inproc://consumer");
  tavrik_setProperty(client, REQ_REP_SERVER_ENDPOINT, "inproc://consumer");
  tavrik_send(client, "question", 0);
  tavrik_receivemsg(server, subject, message, -1);
  tavrik_send(server, "answer", 1, "42");
  tavrik_receivemsg(client, subject, message, -1);
  tavrik_getPart(message, 0, answer);
  printf("%s: %s\n", subject, answer);

  tavrik_deleteMessage(message);
  tavrik_deleteChannel(client);
  tavrik_deleteChannel(server);
  return 0;
}
