/* Has files digested and writes the digests, in the format of sha256sum, into a file.
 *
 * digest_client ENDPOINT NAME DIGESTS FILE ...
 *
 * Sends all jobs at once and takes the answers in any order. Exits non-zero if one is lost, doubled
 * or somebody else's. */
#include "host.h"

#include <tavrik/tavrik.h>

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

enum { PATIENCE = 5000 /* milliseconds */, DIGEST_SIZE = 65, PATH_SIZE = 4096 };

static const char* name;

/* Ends the program unless the condition holds. */
static void require(int holds, const char* what) {
  if (holds) return;
  fprintf(stderr, "digest client   %s: %s\n", name, what);
  exit(1);
}

static void send_job(tavrik_channel_t* channel, int number, const char* path) {
  tavrik_message_t* const job = tavrik_createMessage(0);
  char text[16];
  unsigned int size = 0;
  char* const bytes = read_file(path, &size);
  require(bytes != NULL, "a file cannot be read");
  snprintf(text, sizeof text, "%d", number);
  require(tavrik_insertPart(job, 0, name) == 0 && tavrik_insertPart(job, 1, text) == 0 &&
              tavrik_insertPart(job, 2, path) == 0 &&
              tavrik_insertBinPart(job, 3, bytes, size) == 0,
          "a job cannot be made");
  require(tavrik_sendmsg(channel, "job", job) == 4, "a job was not sent");
  free(bytes);
  tavrik_deleteMessage(job);
}

static void copy_part(tavrik_message_t* answer, unsigned int part, char* text, int size) {
  const int length = tavrik_getPartlength(answer, part);
  require(length >= 0 && length < size, "an answer has a part of a wrong length");
  require(tavrik_getPart(answer, part, text) == 0, "an answer has too few parts");
}

/* Receives one answer and returns the number of its job. */
static int receive_answer(tavrik_channel_t* channel, tavrik_message_t* answer) {
  char subject[SUBJECT_BUFFER_SIZE] = "";
  char text[SUBJECT_BUFFER_SIZE];
  require(tavrik_receivemsg(channel, subject, answer, PATIENCE) == 4, "an answer is missing");
  require(strcmp(subject, "digest") == 0, "an answer has another subject");
  copy_part(answer, 0, text, (int)sizeof text);
  require(strcmp(text, name) == 0, "an answer is somebody else's");
  copy_part(answer, 1, text, (int)sizeof text);
  return (int)strtol(text, NULL, 10);
}

/* Receives the answer to every job. Returns how many overtook an answer to an earlier job. */
static int receive_answers(tavrik_channel_t* channel, char** files, int count, FILE* digests) {
  tavrik_message_t* const answer = tavrik_createMessage(0);
  char* const answered = calloc((size_t)count, 1);
  int earliest = 0;
  int overtaking = 0;
  require(answer != NULL && answered != NULL, "no memory");
  for (int i = 0; i < count; ++i) {
    char path[PATH_SIZE];
    char digest[DIGEST_SIZE];
    const int job = receive_answer(channel, answer);
    require(job >= 0 && job < count, "an answer is to no job");
    require(!answered[job], "an answer came twice");
    answered[job] = 1;
    copy_part(answer, 2, path, (int)sizeof path);
    require(strcmp(path, files[job]) == 0, "an answer is to another job");
    copy_part(answer, 3, digest, (int)sizeof digest);
    fprintf(digests, "%s  %s\n", digest, path);

    overtaking += job > earliest;
    while (earliest < count && answered[earliest]) ++earliest;
  }
  free(answered);
  tavrik_deleteMessage(answer);
  return overtaking;
}

int main(int argc, char** argv) {
  if (argc < 5) return 2;
  setvbuf(stdout, NULL, _IOLBF, 0);
  name = argv[2];
  char** const files = argv + 4;
  const int count = argc - 4;
  FILE* const digests = fopen(argv[3], "w");
  require(digests != NULL, "the digests cannot be written");
  tavrik_channel_t* const channel =
      tavrik_createChannel("digest", ASYNC_ROUTER_DEALER_PATTERN, ASYNC_DEALER_CLIENT);
  require(channel != NULL, "no channel");
  require(tavrik_setProperty(channel, ASYNC_DEALER_CLIENT_ENDPOINT, argv[1]) == 0, "no endpoint");
  require(tavrik_initializeStatsMonitoring(channel) == 0, "no statistics");

  for (int i = 0; i < count; ++i) send_job(channel, i, files[i]);
  const int overtaking = receive_answers(channel, files, count, digests);

  tavrikStatistics stats;
  require(tavrik_getTavrikStats(channel, &stats) == 0, "no statistics");
  require(stats.sentCount == (unsigned int)count && stats.rcvdCount == (unsigned int)count,
          "the statistics are wrong");
  printf("digest client   %s: %d files digested, %d answers overtook an earlier one\n", name, count,
         overtaking);
  tavrik_deleteChannel(channel);
  require(fclose(digests) == 0, "the digests cannot be written");
  return 0;
}
