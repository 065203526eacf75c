#include "service.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <signal.h>
#include <stdio.h>
#include <string.h>
#include <sys/socket.h>
#include <unistd.h>

static volatile sig_atomic_t ending;

static void end(int signal) {
  (void)signal;
  ending = 1;
}

void await_end(void) {
  struct sigaction action;
  memset(&action, 0, sizeof action);
  action.sa_handler = end;
  sigaction(SIGTERM, &action, NULL);
}

int told_to_end(void) {
  return ending;
}

void find_endpoint(char endpoint[ENDPOINT_SIZE]) {
  struct sockaddr_in address;
  socklen_t size = sizeof address;
  memset(&address, 0, sizeof address);
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  const int probe = socket(AF_INET, SOCK_STREAM, 0);
  if (bind(probe, (struct sockaddr*)&address, size) == 0) {
    getsockname(probe, (struct sockaddr*)&address, &size);
  }
  close(probe);
  snprintf(endpoint, ENDPOINT_SIZE, "tcp://127.0.0.1:%d", ntohs(address.sin_port));
}

int announce(const char* fifo, const char* endpoint) {
  FILE* const file = fopen(fifo, "w");
  if (file == NULL) return 0;
  const int written = fprintf(file, "%s\n", endpoint);
  return fclose(file) == 0 && written > 0;
}
