/* A server process that replies to each request with its parts. Takes its endpoint as its argument.
 * Prints "ready" when it is bound, or "not bound" if that fails. On a request with the subject
 * "hang" it prints "hanging" and no longer replies. */
#include <tavrik/tavrik.h>

#include <stdio.h>
#include <string.h>

int main(int argc, char** argv) {
  if (argc != 2) return 2;
  setvbuf(stdout, NULL, _IOLBF, 0);
  tavrik_channel_t* const server = tavrik_createChannel("echo", REQUEST_REPLY_PATTERN, REP_SERVER);
  tavrik_message_t* const message = tavrik_createMessage(0);
  char subject[SUBJECT_BUFFER_SIZE];
  tavrik_pollitem_t item = {server, TAVRIK_POLLIN, 0};
  if (tavrik_setProperty(server, REQ_REP_SERVER_ENDPOINT, argv[1]) != 0) return 1;
  if (tavrik_poll(&item, 1, 0) != 0) {
    puts("not bound");
    return 1;
  }
  puts("ready");
  for (;;) {
    if (tavrik_receivemsg(server, subject, message, -1) < 0) return 1;
    if (strcmp(subject, "hang") == 0) {
      puts("hanging");
      for (;;) getchar();
    }
    if (tavrik_sendmsg(server, subject, message) < 0) return 1;
  }
}
