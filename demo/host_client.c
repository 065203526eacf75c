/* Asks the server about this host and compares each answer with a reading of its own.
 *
 * host_client_c ENDPOINT FILE
 *
 * Exits non-zero when an answer is wrong or missing. */
#include "host.h"

#include <tavrik/tavrik.h>

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

enum { PATIENCE = 5000 /* milliseconds */ };

static tavrik_channel_t* client;
static tavrik_message_t* answer;
static const char* kind;
static unsigned int asked;

/* Ends the program unless the condition holds. */
static void require(int holds, const char* what) {
  if (holds) return;
  fprintf(stderr, "C client        %s: %s\n", kind, what);
  exit(1);
}

/* Sends a question, with a part of text if there is one, and receives the answer. */
static void ask(const char* subject, const char* text) {
  char heard[SUBJECT_BUFFER_SIZE] = "";
  const int sent =
      text == NULL ? tavrik_send(client, subject, 0) : tavrik_send(client, subject, 1, text);
  require(sent >= 0, "the question was not sent");
  tavrik_receivemsg(client, heard, answer, PATIENCE);
  require(strcmp(heard, subject) == 0, "no answer, or an answer to something else");
  ++asked;
}

static double number(unsigned int part) {
  char text[64] = "";
  require(tavrik_getPartlength(answer, part) < (int)sizeof text, "an answer is too long");
  require(tavrik_getPart(answer, part, text) == 0, "an answer has too few parts");
  return strtod(text, NULL);
}

static void ask_load(void) {
  struct load before;
  struct load after;
  require(read_load(&before), "no reading of the load");
  ask("load", NULL);
  require(read_load(&after), "no reading of the load");
  for (int i = 0; i < 3; ++i) {
    const double average = number((unsigned int)i);
    require(average == before.average[i] || average == after.average[i], "a load is wrong");
  }
  const double uptime = number(3);
  require(before.uptime <= uptime && uptime <= after.uptime, "the uptime is wrong");
  printf("C client        %s: load %.2f %.2f %.2f, up for %.2f s\n", kind, number(0), number(1),
         number(2), uptime);
}

static void ask_memory(void) {
  struct memory own;
  require(read_memory(&own), "no reading of the memory");
  ask("memory", NULL);
  require((unsigned long)number(0) == own.total, "the memory's size is wrong");
  require(number(1) > 0 && number(1) <= number(0), "the available memory is wrong");
  printf("C client        %s: memory %lu MB, %lu MB available\n", kind, own.total / 1024,
         (unsigned long)number(1) / 1024);
}

static void ask_network(void) {
  struct network before;
  struct network after;
  require(read_network(&before), "no reading of the network");
  ask("network", NULL);
  require(read_network(&after), "no reading of the network");
  require(tavrik_getnumParts(answer) == 3 * before.count, "interfaces are missing");
  for (int i = 0; i < before.count; ++i) {
    const unsigned int part = 3 * (unsigned int)i;
    char name[NAME_SIZE] = "";
    require(tavrik_getPartlength(answer, part) < (int)sizeof name, "a name is too long");
    tavrik_getPart(answer, part, name);
    require(strcmp(name, before.interfaces[i].name) == 0, "an interface has another name");
    require((double)before.interfaces[i].received <= number(part + 1) &&
                number(part + 1) <= (double)after.interfaces[i].received,
            "a counter of received bytes is wrong");
    printf("C client        %s: interface %s: %.0f bytes in, %.0f bytes out\n", kind, name,
           number(part + 1), number(part + 2));
  }
}

static void ask_file(const char* path) {
  unsigned int size = 0;
  char* const own = read_file(path, &size);
  require(own != NULL, "the file cannot be read");
  ask("file", path);
  require(tavrik_getPartlength(answer, 0) == (int)size, "the file has another size");
  char* const bytes = malloc(size + 1);
  require(bytes != NULL && tavrik_getBinPart(answer, 0, bytes) == 0, "the file is missing");
  require(memcmp(own, bytes, size) == 0, "the file has other bytes");
  printf("C client        %s: file %s: %u bytes, each as on disk\n", kind, path, size);
  free(bytes);
  free(own);
}

int main(int argc, char** argv) {
  if (argc != 3) return 2;
  setvbuf(stdout, NULL, _IOLBF, 0);
  kind = strncmp(argv[1], "tcp", 3) == 0 ? "tcp" : "ipc";
  client = tavrik_createChannel("host", REQUEST_REPLY_PATTERN, REQ_CLIENT);
  answer = tavrik_createMessage(0);
  require(client != NULL && answer != NULL, "no channel");
  require(tavrik_setProperty(client, REQ_REP_SERVER_ENDPOINT, argv[1]) == 0, "no endpoint");
  require(tavrik_initializeStatsMonitoring(client) == 0, "no statistics");

  ask_load();
  ask_memory();
  ask_network();
  ask_file("/etc/os-release");
  ask_file(argv[2]);

  tavrikStatistics stats;
  require(tavrik_getTavrikStats(client, &stats) == 0, "no statistics");
  require(stats.sentCount == asked && stats.rcvdCount == asked, "the statistics are wrong");
  printf("C client        %s: %u questions sent, %u answers received\n", kind, stats.sentCount,
         stats.rcvdCount);
  tavrik_deleteMessage(answer);
  tavrik_deleteChannel(client);
  return 0;
}
