/* A program that loads the library with dlopen, uses it and closes it, several times. ZeroMQ's
 * threads and a proxy keep running in between. Takes the library's path as its argument. */
#include <tavrik/types.h>

#include <dlfcn.h>
#include <stdio.h>
#include <string.h>

typedef void* (*create_t)(const char*, pattern_t, role_t);
typedef void (*delete_t)(void*);
typedef int (*set_property_t)(void*, channel_prop_t, const char*);
typedef int (*send_binary_t)(void*, const char*, void*, unsigned int);
typedef int (*poll_t)(tavrik_pollitem_t*, unsigned int, long);

static int use(void* library, const char* endpoint) {
  create_t create;
  delete_t destroy;
  set_property_t set_property;
  send_binary_t send_binary;
  poll_t poll;
  /* Copies the bytes of the pointer: ISO C has no cast from void* to a function pointer. */
#define LOOK_UP(function, name)                 \
  do {                                          \
    void* const found = dlsym(library, name);   \
    if (found == NULL) return 0;                \
    memcpy(&(function), &found, sizeof(found)); \
  } while (0)
  LOOK_UP(create, "tavrik_createChannel");
  LOOK_UP(destroy, "tavrik_deleteChannel");
  LOOK_UP(set_property, "tavrik_setProperty");
  LOOK_UP(send_binary, "tavrik_sendBinary");
  LOOK_UP(poll, "tavrik_poll");

  void* const server = create("dlopen", REQUEST_REPLY_PATTERN, REP_SERVER);
  void* const client = create("dlopen", REQUEST_REPLY_PATTERN, REQ_CLIENT);
  char data[] = "x";
  set_property(server, REQ_REP_SERVER_ENDPOINT, endpoint);
  set_property(client, REQ_REP_SERVER_ENDPOINT, endpoint);
  tavrik_pollitem_t item = {server, TAVRIK_POLLIN, 0};
  const int sent = send_binary(client, "x", data, 1);
  const int ready = poll(&item, 1, -1);
  destroy(client);
  destroy(server);

  void* const worker = create("dlopen", ASYNC_ROUTER_DEALER_PATTERN, ASYNC_DEALER_WORKER);
  set_property(worker, ASYNC_DEALER_CLIENT_ENDPOINT, "inproc://front");
  set_property(worker, ASYNC_DEALER_WORKER_ENDPOINT, "inproc://back");
  item.socket = worker;
  const int idle = poll(&item, 1, 0); /* the first one starts the proxy */
  destroy(worker);
  return sent == 1 && ready == 1 && idle == 0;
}

int main(int argc, char** argv) {
  if (argc != 2) return 2;
  for (int i = 0; i < 20; ++i) {
    void* const library = dlopen(argv[1], RTLD_NOW | RTLD_LOCAL);
    if (library == NULL) {
      puts(dlerror());
      return 1;
    }
    char endpoint[32]; /* a new one each time: ZeroMQ releases a closed one in the background */
    snprintf(endpoint, sizeof endpoint, "inproc://dlopen-%d", i);
    if (!use(library, endpoint)) return 1;
    dlclose(library);
  }
  return 0;
}
