/*
 * Rules: programs that watch the network for the expert daemon. The manager keeps each rule as a component
 * "ruleEnt:name", which names the program, when it runs and with which arguments.
 *
 * A rule program is started as "RuleName.exe EntryName Target Interval Level Argument", each as the rule has it: a text
 * with blanks is several arguments, an empty one is none.
 */
#ifndef OXBASE_OXR_H
#define OXBASE_OXR_H

#include <oxbase/oxc.h>

#ifdef __cplusplus
extern "C" {
#endif

/* ---- The record --------------------------------------------------------------------------------------------------
 * Either one that oxrGetRule makes, whose texts belong to it, or one of the caller's, zeroed, with texts of the
 * caller's that stay while it is used. A null text is an empty one.
 */
typedef struct oxrRule {
  const char* EntryName;
  const char* RuleName;  /* 11.13.1.0: the program without extension; one with a ":" is no program of this machine */
  const char* Component; /* 11.13.2.0: name of the manager on which the rule runs; empty: on any */
  const char* Target;    /* 11.13.3.0 */
  uint32_t Interval;     /* 11.13.4.0 */
  uint32_t Level;        /* 11.13.5.0 */
  const char* Argument;  /* 11.13.6.0 */
  uint32_t AdminStatus;  /* 11.13.7.0: 1 is to run, 0 is not */
  uint32_t OperStatus;   /* 11.13.8.0: 0 does not run, 1 runs, 2 waits for its schedule */
  const char* Error;     /* 11.13.9.0: number of the last error: the platform's of a failed start; 379 while it waits */
  uint32_t Request;      /* 11.13.10.0: what the schedule asks for, 1 start, 0 stop */
  const char* Schedule;  /* 11.13.11.0: a schedule text (oxcmd.h) */

  const char* OutputFile; /* to whose end the program writes; null: where this process does */
  oxcProcess* Process;    /* the program that runs; null: none. oxrStart's */
  oxcProcess* Ending;     /* one that oxrStop took out of Process; released by the next oxrStop, and with the record */
  int32_t ExitStatus;     /* of the last program whose end was seen */
} oxrRule;

/*
 * Reads a rule into a new record, which the caller releases with oxrFreeRule. `manager` is as in oxa.h.
 * Returns 0; 84 when there is none; 1 for a null argument; 59 for a name of 64 characters or more; 3.
 */
OX_API OX_RESULT OX_CALL oxrGetRule(const char* manager, const char* name, oxrRule** rule);

/* Releases a record of oxrGetRule. Its program runs on. 0, also for null. */
OX_API OX_RESULT OX_CALL oxrFreeRule(oxrRule* rule);

/*
 * Write one attribute of a rule as text: any ("11.13.9.0", a null text is the empty one); of a record, which then has
 * the value, too. Return 0; 1 for a null name, path or record; 59 for an empty name or one of 64 characters or more; 3.
 */
OX_API OX_RESULT OX_CALL oxrConfSet(const char* manager, const char* name, const char* path, const char* text);
OX_API OX_RESULT OX_CALL oxrConfSetAdminStatus(const char* manager, oxrRule* rule, uint32_t status);
OX_API OX_RESULT OX_CALL oxrConfSetOperStatus(const char* manager, oxrRule* rule, uint32_t status);

/* ---- Rule programs -----------------------------------------------------------------------------------------------
 * The process's programs stand in one table, with their records: one thread starts, stops and looks after them. A
 * record whose program runs stays where it is; one of the caller's is stopped before it goes. In a forked child the
 * table is empty.
 */

/*
 * Starts a rule's program and waits until it is ready (oxcWaitForInputIdle), then sets OperStatus to 1. Programs are
 * those of the folder "RulePath" (docs/files.md), and no others. It does nothing for a null record, a name with a ":",
 * a rule of another manager, and beside 63 programs that run; for a rule whose program runs it sets OperStatus, where
 * it is not 1. Returns 1; 0 when the program cannot be started: the platform's error number is then the
 * rule's 11.13.9.0, and its AdminStatus 0; 3.
 */
OX_API OX_RESULT OX_CALL oxrStart(oxrRule* rule);

/*
 * Gives up a rule's program: it leaves the table, and Process becomes Ending. With a mode other than 0 a program that
 * runs is asked to end: by the message that closes the window whose class is named as the rule's entry (oxrWindowOpen);
 * without such a window on Linux by SIGTERM. With mode 2 OperStatus becomes 0 when no program runs.
 * Returns 1.
 */
OX_API OX_RESULT OX_CALL oxrStop(oxrRule* rule, uint32_t mode);

/* Looks which programs have ended: they leave the table, Process becomes null, ExitStatus is set. How many there were.
 */
OX_API uint32_t OX_CALL oxrProcessCheck(void);

/* Asks for a start, where OperStatus is 0: sets AdminStatus to 1. Returns 0; 1 for a null record or one without a name;
 * the errors of oxrConfSet. */
OX_API OX_RESULT OX_CALL oxrStartRequest(const char* manager, oxrRule* rule);

/*
 * Arms (action 1) or disarms a rule's schedule at the local manager: a command entry of the rule's name sets the rule's
 * request as the schedule says. While an armed schedule does not hold, the rule has OperStatus 2 and error 379. The
 * schedule "* * * * *", or an empty one, wants no command entry: one that is there is deleted, and action 1 asks for a
 * start. A rule without a schedule is left alone.
 *
 * armed  receives 1 when a schedule was armed or disarmed, else 0
 *
 * Returns 0; 1 for a null argument; 59 for a name of 64 characters or more; 7 while no command daemon runs, with
 * nothing written; the errors of oxcmdStrToSchedule and of oxcmd.h; 3.
 */
OX_API OX_RESULT OX_CALL oxrMakeSchedule(const char* name, uint32_t action, uint32_t* armed);

/* ---- The expert daemon ------------------------------------------------------------------------------------------ */

/* The expert service, opened for reading; the caller closes it with oxrRuleClose. Null when the system does not know
 * it; on Linux it does once the daemon has run. */
typedef struct oxrService oxrService;
OX_API oxrService* OX_CALL oxrRuleOpen(void);
OX_API OX_RESULT OX_CALL oxrRuleClose(oxrService* service); /* 0, also for null */

OX_API uint32_t OX_CALL oxrExpdCheck(void); /* 1 when the expert daemon runs, else 0 */

/* ---- Inside a rule program -------------------------------------------------------------------------------------- */

/*
 * Opens the window, never shown, by which oxrStop asks this program to end; `entryName` is the program's first
 * argument. One at a time, of the calling thread. Returns 0; 1 for a null or empty name; the mapped platform error; 3.
 */
OX_API OX_RESULT OX_CALL oxrWindowOpen(const char* entryName);
OX_API uint32_t OX_CALL oxrWindowAsked(void); /* 1 once it is to end, else 0; from the window's thread */
OX_API OX_RESULT OX_CALL oxrWindowClose(void);

#ifdef __cplusplus
}
#endif

#endif
