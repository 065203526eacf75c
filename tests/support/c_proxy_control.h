/* For C test programs: proxies that end, and threads that cannot be made. */
#ifndef TAVRIK_TESTS_SUPPORT_C_PROXY_CONTROL_H
#define TAVRIK_TESTS_SUPPORT_C_PROXY_CONTROL_H

#ifdef __cplusplus
extern "C" {
#endif

/* From now on proxies do not forward but wait until they are told to end. */
void hold_proxies(void);

/* Waits until a held proxy runs, and ends it with the error. */
void end_proxy(int error);

/* Proxies that start from now on forward again. */
void release_proxies(void);

/* Whether this thread cannot make threads from now on. */
void fail_threads(int fail);

#ifdef __cplusplus
}
#endif

#endif
