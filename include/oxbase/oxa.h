/*
 * Manager access: the process's one session with the local manager daemon, and the requests that are answered at
 * once.
 *
 * Threads: a session belongs to the thread that called oxaInit, for as long as that thread lives. On any other one
 * every operation on it (requests, waits and their filters, closing, oxaDispatch, oxaInit itself) returns 5001 at once,
 * and changes nothing. When its thread ends, the session ends with it: the manager sees it go, the operations return
 * 14, and oxaInit of any thread opens another. The thread that the library starts takes no signal.
 *
 * Forked children (Linux): a child has no session, no requests and no waits: the operations return 14 and know none of
 * its parent's handles. Its end, and what it does, leave the parent's session alone, and it holds nothing of it open.
 * It may call oxaInit for its own. The attribute tree stays attached; trace and memory are the child's own.
 *
 * `manager` is the name of the manager addressed, null or "" for the local one. A component is "type:name" ("map:top"),
 * with "*" as name for all of a type. An AMIB name is a path, a prefix ("11.15"), a name, a path with alternatives in
 * braces ("obj.dataEnt.{1,2}.0"), or several separated by commas.
 *
 * Every request returns 14 without a session, 5001 on another thread, 17 when the connection is lost, 3 when memory
 * runs out, 71 for a broken reply, 266 for a text of 65535 characters or more and for more data than the manager takes
 * in one request ("MaxFrame"), or the error that the manager replied. The request that finds the connection lost or
 * broken closes it; those after it return 14.
 *
 * Loss: when the manager ends, dies or cuts the application off, this is noticed at once, also while the application
 * only waits: oxaDispatch returns, oxaGetReportFd polls readable, a thread's message loop gets a message. What runs
 * then tells, once each: every open asynchronous request and every wait (oxe.h), 17; then the callback given to
 * oxaInit. After that oxaDispatch returns 14. oxaInit, also from inside one of these callbacks, connects anew. It can
 * fail while the manager is away (15, 393) and be repeated. Gets and waits that are open go on with the new connection,
 * under their handles; what happened while there was none may be missing, save for persistent waits. Locks, event
 * handles and asynchronous sets have ended with their connection.
 */
#ifndef OXBASE_OXA_H
#define OXBASE_OXA_H

#include <oxbase/oxd.h>

#ifdef __cplusplus
extern "C" {
#endif

/*
 * Called with (0, 17, 0) when the connection to the manager is lost, once for the connection that it was given for. It
 * runs from oxaDispatch (or the thread's message loop), never inside a request, and may call oxaInit.
 */
typedef void(OX_CALL* oxaDisconnect)(uint32_t, OX_RESULT, uint32_t);

/* ---- Session ---------------------------------------------------------------------------------------------------- */

/*
 * Opens the session; a call while it is connected returns 0 and does nothing. A failed call can be repeated. After a
 * loss it connects anew, and registers again what is open; a manager that is on its way out gives 15, not 393.
 * Returns 0; 5 for a user outside the system's group; 15 when the message texts, the base services or the AMIB tree
 * are not there; 393 when the manager's pipe is not found within "InitRetryCnt" retries; when the manager refuses, why:
 * 394 it has as many clients as it may, 5024 and 3 it has no descriptors or no memory for another.
 */
OX_API OX_RESULT OX_CALL oxaInit(oxaDisconnect callback);

/* The same for a service of the system. */
OX_API OX_RESULT OX_CALL oxaServiceInit(oxaDisconnect callback);

/* Waits until the base services have started: tries + 1 attempts, each followed by a second when it fails. 0 or 7. */
OX_API OX_RESULT OX_CALL oxaWaitForOxbase(uint32_t tries);

/*
 * Makes sure that an interactive user has logged on to the system. Non-zero: the application may go on. The
 * installation's setting "Authentication" (registry, docs/files.md) decides: with "OFF", which a new installation has,
 * it asks nobody; else it starts the dialog program OxLogon and waits for its answer, and gives 0 where there is no
 * such program.
 */
OX_API uint32_t OX_CALL oxaLogon(void);

/*
 * Runs what the manager has announced to this thread's session, waiting at most timeoutMs for it (0: not at all,
 * 0xFFFFFFFF: without limit). No callback begins when the time is over, but for the first one; the last one is answered
 * for all the same, and what that answer brings begins the next call. With 0, what is there is run for 10 ms at most.
 * A callback may call this, too, and gets what comes meanwhile. Returns 0, 14 without a session, 5001 on another
 * thread.
 */
OX_API OX_RESULT OX_CALL oxaDispatch(uint32_t timeoutMs);

/*
 * A descriptor that polls readable while oxaDispatch has something to run, for an application's own loop; -1 without
 * a session, on another thread, or where the platform delivers through the thread's window messages. Each connection
 * has its own: ask again after oxaInit.
 */
OX_API intptr_t OX_CALL oxaGetReportFd(void);

/* ---- Requests --------------------------------------------------------------------------------------------------- */

/* The five words of a selection, passed to the manager unchanged. */
typedef struct oxaSelection {
  uint32_t word[5];
} oxaSelection;

/*
 * Reads values. The answer is handed out in *list, to be released with oxdFree; list may be null. selection may be
 * null. limit is a time-out in seconds, 0 for the manager's own; options is a set of the manager's option bits. Returns
 * 0; 121 when the answer holds nodes and an error, and the nodes tell which; 122 when nothing was found; 70 for a null
 * component or AMIB name.
 */
OX_API OX_RESULT OX_CALL oxaGet(const char* manager, const char* component, const char* amibName,
                                const oxaSelection* selection, uint32_t options, uint32_t limit, dnode** list);

/*
 * Writes values: each node names its component, type and attribute. first is 0, second a time-out in seconds. When
 * result is given, it receives the reply's nodes, to be released with oxdFree.
 * Returns 0; 109 when a node carries a request time; 266 for a list of 65536 encoded bytes or more.
 */
OX_API OX_RESULT OX_CALL oxaSet(const char* manager, uint32_t first, uint32_t second, const dnode* list,
                                dnode** result);

/*
 * Management of components and relations; result as in oxaSet. Codes: docs/protocol.md; one over 65535 gives 1.
 */
OX_API OX_RESULT OX_CALL oxaMgmtControl(const char* manager, uint32_t code, const dnode* list, dnode** result);

/* Lock a component; the lock ends with oxaCompUnlock or with the session. 70 for a null component;
 * 1 for a null lockId. */
OX_API OX_RESULT OX_CALL oxaCompLock(const char* manager, const char* component, uint32_t argument, uint32_t* lockId);
OX_API OX_RESULT OX_CALL oxaCompUnlock(uint32_t lockId);
OX_API OX_RESULT OX_CALL oxaCompUnlock2(uint32_t lockId, const char* manager);

/* Append values to collected data; tell its size. 70 for a null text; 1 for a null size. */
OX_API OX_RESULT OX_CALL oxaDataAppend(const char* manager, uint32_t first, uint32_t second, const char* text1,
                                       const char* text2, const dnode* list);
OX_API OX_RESULT OX_CALL oxaDataGetSize(const char* manager, const char* text1, const char* text2, uint32_t* size);

/* ---- Asynchronous requests --------------------------------------------------------------------------------------
 * Answered later, by callbacks that run from oxaDispatch or the thread's message loop. A callback may send requests,
 * open and close asynchronous requests, its own too, and dispatch until an answer comes. On Linux an exception that
 * leaves a callback costs that call alone, and the system's log has a line; on Windows none may leave one.
 */

/*
 * Called with the request, the argument given when it was made, the nodes reported (null when there are none), which
 * the callback owns and releases with oxdFree, and a code: 0 or the manager's error; 17 when the connection to the
 * local manager is gone; 166 when the manager has ended the request, or is another one and gone.
 */
typedef void(OX_CALL* oxaAsyCallback)(void* request, void* argument, dnode* list, OX_RESULT code);

/*
 * Watches values: the arguments of oxaGet, answered by any number of reports until oxaClose. After code 166 there are
 * no more, and oxaClose is still due. Returns 0 and the request, whatever the manager
 * answers to the registration; 70 for a null component or AMIB name; 1 for a null callback or request.
 */
OX_API OX_RESULT OX_CALL oxaAsyGet(const char* manager, const char* component, const char* amibName,
                                   const oxaSelection* selection, uint32_t options, uint32_t limit,
                                   oxaAsyCallback callback, void* argument, void** request);

/*
 * Writes values: the arguments of oxaSet, answered by one report, with which the request ends; before its callback
 * runs, the request is gone. Returns 0 and the request; 109; 266; 1 for a null callback or request; the manager's
 * error, without a request.
 */
OX_API OX_RESULT OX_CALL oxaAsySet(const char* manager, uint32_t first, uint32_t second, const dnode* list,
                                   oxaAsyCallback callback, void* argument, void** request);

/* Sends control data for an asynchronous request. 63 for an unknown one; 1 for a code over 65535 or for null data. */
OX_API OX_RESULT OX_CALL oxaControl(void* request, uint32_t code, const void* data, uint32_t length);

/* Ends an asynchronous request. Returns 0; 63 for an unknown one; 14, 17 or the manager's error, with it gone. */
OX_API OX_RESULT OX_CALL oxaClose(void* request);

/* ---- Application data -------------------------------------------------------------------------------------------
 * Reports of data that belong to no persistent wait (oxe.h).
 */

/*
 * Called with the argument, the word by which the report names its receiver, and the report's error. The data are read
 * with oxcApDataRead. 0 takes the data, any other result refuses them.
 */
typedef OX_RESULT(OX_CALL* oxcApDataCallback)(void* argument, uint32_t receiver, OX_RESULT code);

/* Names the process's receiver of application data, in place of the one before. Null for none: data are taken and
 * dropped then. Returns 0. */
OX_API OX_RESULT OX_CALL oxcApDataReceive(oxcApDataCallback callback, void* argument);

/*
 * Copies the data of the report that the callback is called for: at most `size` bytes, the number of all in *length.
 * Returns 0; 122 outside the callback; 1 for a null length, or a null buffer of a size over 0.
 */
OX_API OX_RESULT OX_CALL oxcApDataRead(void* buffer, uint32_t size, uint32_t* length);

#ifdef __cplusplus
}
#endif

#endif
