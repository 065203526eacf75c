/* What the C test programs share: the captured log, failing allocations, a folder of their own. */
#ifndef TAVRIK_TESTS_SUPPORT_C_SUPPORT_H
#define TAVRIK_TESTS_SUPPORT_C_SUPPORT_H

#ifdef __cplusplus
extern "C" {
#endif

/* Takes the library's log lines from now on and forgets the ones so far. */
void capture_log(void);

/* Gives the log back to the default sink. */
void release_log(void);

/* The captured lines, each as its level, a blank, its text and a newline; valid until the next
 * call. */
const char* captured_log(void);

/* Makes the nth allocation of this thread from now on fail, counting from 1. */
void fail_allocation(int nth);

/* Ends that; whether the allocation was reached. */
int allocation_failed(void);

/* An ipc endpoint that no other test has; valid until the next call. The folder it is in goes when
 * the program ends. */
const char* ipc_endpoint(void);

#ifdef __cplusplus
}
#endif

#endif
