#include "host.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>

enum { MAX_FILE_SIZE = 64 * 1024 * 1024 };

int read_load(struct load* load) {
  FILE* file = fopen("/proc/loadavg", "r");
  if (file == NULL) return 0;
  double* const average = load->average;
  int fields = fscanf(file, "%lf %lf %lf", &average[0], &average[1], &average[2]);
  fclose(file);
  file = fopen("/proc/uptime", "r");
  if (file == NULL) return 0;
  fields += fscanf(file, "%lf", &load->uptime);
  fclose(file);
  return fields == 4;
}

int read_memory(struct memory* memory) {
  FILE* const file = fopen("/proc/meminfo", "r");
  if (file == NULL) return 0;
  int found = 0;
  char line[128];
  while (fgets(line, sizeof line, file) != NULL) {
    found += sscanf(line, "MemTotal: %lu", &memory->total) == 1;
    found += sscanf(line, "MemAvailable: %lu", &memory->available) == 1;
  }
  fclose(file);
  return found == 2;
}

int read_network(struct network* network) {
  FILE* const file = fopen("/proc/net/dev", "r");
  if (file == NULL) return 0;
  network->count = 0;
  char line[512];
  while (network->count < MAX_INTERFACES && fgets(line, sizeof line, file) != NULL) {
    struct interface* const next = &network->interfaces[network->count];
    if (sscanf(line, " %31[^: ]: %llu %*u %*u %*u %*u %*u %*u %*u %llu", next->name,
               &next->received, &next->sent) == 3) {
      ++network->count;
    }
  }
  fclose(file);
  return network->count > 0;
}

char* read_file(const char* path, unsigned int* size) {
  struct stat status; /* a device or a fifo may never end */
  if (stat(path, &status) != 0 || !S_ISREG(status.st_mode)) return NULL;
  FILE* const file = fopen(path, "rb");
  if (file == NULL) return NULL;
  size_t room = 4096;
  size_t used = 0;
  char* bytes = malloc(room);
  while (bytes != NULL) {
    used += fread(bytes + used, 1, room - used, file);
    if (used < room) break;
    char* const larger = room < MAX_FILE_SIZE ? realloc(bytes, room *= 2) : NULL;
    if (larger == NULL) free(bytes);
    bytes = larger;
  }
  fclose(file);
  *size = (unsigned int)used;
  return bytes;
}
