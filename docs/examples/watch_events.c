/*
 * Watches events from a program that has a loop of its own: waits for events of level 2 or higher, prints each, marks
 * it as checked in the manager's event log, and ends after as many as its argument says.
 *
 *   cc watch_events.c $(pkg-config --cflags --libs oxbase) -o watch_events
 *   ./watch_events 3
 */
#include <stdio.h>
#include <stdlib.h>

#include <oxbase/oxbase.h>

#if !defined(_WIN32)
#include <poll.h>
#endif

static int connected = 1;
static long left; /* events still to come */

static void OX_CALL on_disconnect(uint32_t reserved1, OX_RESULT code, uint32_t reserved2) {
  (void)reserved1;
  (void)reserved2;
  fprintf(stderr, "watch_events: %s\n", oxcStrError(code));
  connected = 0;
}

/* Runs from oxaDispatch, on the same thread as the rest of the program, and may send requests. It owns the list. */
static OX_RESULT OX_CALL on_events(void* wait, uint32_t reserved, void* argument, evmsg* list, OX_RESULT code) {
  const evmsg* event;
  (void)wait;
  (void)reserved;
  (void)argument;
  if (code != 0) {
    fprintf(stderr, "watch_events: %s\n", oxcStrError(code));
    return 0;
  }
  for (event = list; event != NULL; event = oxeEvmsgNext(event)) {
    uint32_t number = 0;
    const char* memo = "";
    (void)oxeEvmsgGetSndId(event, &number); /* the manager's number: always there */
    (void)oxeEvmsgGetMemo(event, &memo);    /* stays "" when the event has no memo */
    printf("event %lu: %s\n", (unsigned long)number, memo);
    fflush(stdout);
    code = oxeEvlogCheck(NULL, 1, event);
    if (code != 0) fprintf(stderr, "watch_events: cannot be marked: %s\n", oxcStrError(code));
    --left;
  }
  (void)oxeEvmsgFree(list);
  return 0;
}

/* One turn of the program's loop. */
static void turn(void) {
#if defined(_WIN32)
  (void)oxaDispatch(1000); /* a program with windows needs no call: its message loop delivers */
#else
  struct pollfd sources[1]; /* and whatever else the program waits for */
  sources[0].fd = (int)oxaGetReportFd();
  sources[0].events = POLLIN;
  if (poll(sources, 1, 1000) > 0 && sources[0].revents != 0) (void)oxaDispatch(0);
#endif
}

static OX_RESULT open_wait(void** wait) {
  OX_RESULT code;
  evflt* filter = oxeEvfltAlloc();
  if (filter == NULL) return OX_ENOMEM;
  code = oxeEvfltSet(filter, OX_EVFLT_EVENTTYPE, 2);
  if (code == 0) code = oxeEventWaitOpen(NULL, 0, on_events, NULL, wait);
  if (code == 0) code = oxeEventWaitFilter(*wait, filter); /* the wait keeps a copy */
  (void)oxeEvfltFree(filter);
  return code;
}

int main(int argc, char** argv) {
  void* wait = NULL;
  OX_RESULT code = oxaInit(on_disconnect);
  left = argc > 1 ? strtol(argv[1], NULL, 10) : 1;
  if (code == 0) code = open_wait(&wait);
  if (code != 0) {
    fprintf(stderr, "watch_events: %s\n", oxcStrError(code));
    return 1;
  }
  puts("waiting");
  fflush(stdout);
  while (connected && left > 0) turn();
  if (connected) (void)oxeEventWaitClose(wait);
  return left > 0; /* the session ends with the process */
}
