/* A server that keeps serving, whatever its peers send: it replies to each request with the
 * request's own subject and parts.
 *
 * request_reply_server ENDPOINT
 *
 * Runs until SIGTERM or SIGINT. Asked by a client such as lost_reply.cpp. */
#include <tavrik/tavrik.h>

#include <signal.h>
#include <stdio.h>

enum { OUT_OF_TURN = -17530931 /* a reply without a request */ };

static volatile sig_atomic_t ending;

static void end(int number) {
  (void)number;
  ending = 1;
}

/* Receives one request, if there is one, and replies to it. */
static void serve(tavrik_channel_t* server, tavrik_message_t* message) {
  char subject[SUBJECT_BUFFER_SIZE] = "";
  const int parts = tavrik_receivemsg(server, subject, message, 1000);
  if (parts < 0) fprintf(stderr, "a receive failed: %d\n", parts);

  /* Reply whatever the receive returned: a request may consist of an empty subject alone, which
   * looks like a time-out, and the next receive fails until it has a reply. Without a request, the
   * send fails with OUT_OF_TURN and sends nothing. */
  const int sent = tavrik_sendmsg(server, subject, message);
  if (sent < 0 && sent != OUT_OF_TURN) fprintf(stderr, "a send failed: %d\n", sent);
}

int main(int argc, char** argv) {
  if (argc != 2) return 2;
  signal(SIGTERM, end);
  signal(SIGINT, end);
  tavrik_channel_t* const server = tavrik_createChannel("echo", REQUEST_REPLY_PATTERN, REP_SERVER);
  tavrik_message_t* const message = tavrik_createMessage(0);
  tavrik_pollitem_t item = {server, TAVRIK_POLLIN, 0};
  int status = 1;

  if (tavrik_setProperty(server, REQ_REP_SERVER_ENDPOINT, argv[1]) != 0) goto done;
  if (tavrik_poll(&item, 1, 0) < 0) goto done; /* the first use binds */
  printf("listens on %s\n", argv[1]);
  fflush(stdout);
  while (!ending) serve(server, message);
  status = 0;

done:
  tavrik_deleteMessage(message);
  tavrik_deleteChannel(server);
  return status;
}
