/*
 * Events: the event record and its encodings, filters, sending, the manager's event log, and waits, whose callbacks are
 * told of events as they come.
 *
 * `session` is the name of the manager addressed, null or "" for the local one. Operations that send something return
 * 14 without a session (in a forked child, too), 5001 on another thread than the session's, 17 when the connection is
 * lost (oxa.h has the rules of all three), 3 when memory runs out, 71 for a broken reply, or what the manager replied.
 */
#ifndef OXBASE_OXE_H
#define OXBASE_OXE_H

#include <oxbase/oxd.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Opaque; its first two fields are the Queue links. */
typedef struct evmsg evmsg;

/* Opaque. */
typedef struct evflt evflt;

/* Bits of an event type. The level of an event of the first family is its low four bits. */
enum { OX_EVENT_LEVELLED = 0x100, OX_EVENT_SECOND = 0x200, OX_EVENT_TRAP = 0x400, OX_EVENT_LEVEL = 0xF };

/* ---- Event record: life cycle ----------------------------------------------------------------------------------- */

/* An event without fields, on no list; null when memory runs out. */
OX_API evmsg* OX_CALL oxeEvmsgAlloc(void);

/* Releases every event from the given one to the end of its list. Returns 0, also for null. */
OX_API OX_RESULT OX_CALL oxeEvmsgFree(evmsg* list);

OX_API evmsg* OX_CALL oxeEvmsgNext(const evmsg* event);
OX_API evmsg* OX_CALL oxeEvmsgPrev(const evmsg* event); /* of the first event of a list: the last */

/*
 * Compares the times of occurrence of two events, an absent one as 0; for qsort and oxcQueueSort, whence pointers to
 * two event pointers. The difference of the two 32-bit numbers, as a signed one.
 */
OX_API int OX_CALL oxeEvmsgTimeCmp(const void* a, const void* b);

/* ---- Event record: fields ---------------------------------------------------------------------------------------
 * Get: 256 when the field is absent, with the output untouched. Texts and the list stay the event's own; an address is
 *      copied into the caller's 10 bytes.
 * Set: copies. Null and empty texts, null lists and null addresses are ignored: 0, with the field as it was. A number
 *      of 0 is a value like any other. 3 when memory runs out, with the field as it was.
 * Clr: 0, also when the field was absent.
 * All give 1 for a null event, Get also for a null output.
 */

/* send identifier, given by the manager when the event is sent */
OX_API OX_RESULT OX_CALL oxeEvmsgGetSndId(const evmsg* event, uint32_t* value);
OX_API OX_RESULT OX_CALL oxeEvmsgSetSndId(evmsg* event, uint32_t value);
OX_API OX_RESULT OX_CALL oxeEvmsgClrSndId(evmsg* event);

/* name of the sending application */
OX_API OX_RESULT OX_CALL oxeEvmsgGetSender(const evmsg* event, const char** text);
OX_API OX_RESULT OX_CALL oxeEvmsgSetSender(evmsg* event, const char* text);
OX_API OX_RESULT OX_CALL oxeEvmsgClrSender(evmsg* event);

/* type code; OX_EVENT_TRAP marks an event that came from an SNMP trap */
OX_API OX_RESULT OX_CALL oxeEvmsgGetEventType(const evmsg* event, uint32_t* value);
OX_API OX_RESULT OX_CALL oxeEvmsgSetEventType(evmsg* event, uint32_t value);
OX_API OX_RESULT OX_CALL oxeEvmsgClrEventType(evmsg* event);

/* event identifier */
OX_API OX_RESULT OX_CALL oxeEvmsgGetEventId(const evmsg* event, uint32_t* value);
OX_API OX_RESULT OX_CALL oxeEvmsgSetEventId(evmsg* event, uint32_t value);
OX_API OX_RESULT OX_CALL oxeEvmsgClrEventId(evmsg* event);

/* the earlier event that this one refers to, as the failure that a recovery ends */
OX_API OX_RESULT OX_CALL oxeEvmsgGetRefEventId(const evmsg* event, uint32_t* value);
OX_API OX_RESULT OX_CALL oxeEvmsgSetRefEventId(evmsg* event, uint32_t value);
OX_API OX_RESULT OX_CALL oxeEvmsgClrRefEventId(evmsg* event);

/* community name */
OX_API OX_RESULT OX_CALL oxeEvmsgGetCommName(const evmsg* event, const char** text);
OX_API OX_RESULT OX_CALL oxeEvmsgSetCommName(evmsg* event, const char* text);
OX_API OX_RESULT OX_CALL oxeEvmsgClrCommName(evmsg* event);

/* type of the component concerned */
OX_API OX_RESULT OX_CALL oxeEvmsgGetCompType(const evmsg* event, const char** text);
OX_API OX_RESULT OX_CALL oxeEvmsgSetCompType(evmsg* event, const char* text);
OX_API OX_RESULT OX_CALL oxeEvmsgClrCompType(evmsg* event);

/* name of the component concerned */
OX_API OX_RESULT OX_CALL oxeEvmsgGetCompName(const evmsg* event, const char** text);
OX_API OX_RESULT OX_CALL oxeEvmsgSetCompName(evmsg* event, const char* text);
OX_API OX_RESULT OX_CALL oxeEvmsgClrCompName(evmsg* event);

/* time of occurrence, seconds since 1970 */
OX_API OX_RESULT OX_CALL oxeEvmsgGetOccurTime(const evmsg* event, uint32_t* value);
OX_API OX_RESULT OX_CALL oxeEvmsgSetOccurTime(evmsg* event, uint32_t value);
OX_API OX_RESULT OX_CALL oxeEvmsgClrOccurTime(evmsg* event);

/* time of recovery, seconds since 1970 */
OX_API OX_RESULT OX_CALL oxeEvmsgGetRecoverTime(const evmsg* event, uint32_t* value);
OX_API OX_RESULT OX_CALL oxeEvmsgSetRecoverTime(evmsg* event, uint32_t value);
OX_API OX_RESULT OX_CALL oxeEvmsgClrRecoverTime(evmsg* event);

/* message definition file that holds the message text */
OX_API OX_RESULT OX_CALL oxeEvmsgGetMsgFile(const evmsg* event, const char** text);
OX_API OX_RESULT OX_CALL oxeEvmsgSetMsgFile(evmsg* event, const char* text);
OX_API OX_RESULT OX_CALL oxeEvmsgClrMsgFile(evmsg* event);

/* message number in that file */
OX_API OX_RESULT OX_CALL oxeEvmsgGetMsgNumber(const evmsg* event, uint32_t* value);
OX_API OX_RESULT OX_CALL oxeEvmsgSetMsgNumber(evmsg* event, uint32_t value);
OX_API OX_RESULT OX_CALL oxeEvmsgClrMsgNumber(evmsg* event);

/* optional message text */
OX_API OX_RESULT OX_CALL oxeEvmsgGetOptMsg(const evmsg* event, const char** text);
OX_API OX_RESULT OX_CALL oxeEvmsgSetOptMsg(evmsg* event, const char* text);
OX_API OX_RESULT OX_CALL oxeEvmsgClrOptMsg(evmsg* event);

/* free text, of any length */
OX_API OX_RESULT OX_CALL oxeEvmsgGetMemo(const evmsg* event, const char** text);
OX_API OX_RESULT OX_CALL oxeEvmsgSetMemo(evmsg* event, const char* text);
OX_API OX_RESULT OX_CALL oxeEvmsgClrMemo(evmsg* event);

/* flag word */
OX_API OX_RESULT OX_CALL oxeEvmsgGetFlag(const evmsg* event, uint32_t* value);
OX_API OX_RESULT OX_CALL oxeEvmsgSetFlag(evmsg* event, uint32_t value);
OX_API OX_RESULT OX_CALL oxeEvmsgClrFlag(evmsg* event);

/* data nodes that go with the event */
OX_API OX_RESULT OX_CALL oxeEvmsgGetDnodeList(const evmsg* event, dnode** list);
OX_API OX_RESULT OX_CALL oxeEvmsgSetDnodeList(evmsg* event, const dnode* list);
OX_API OX_RESULT OX_CALL oxeEvmsgClrDnodeList(evmsg* event);

/* community of the trap */
OX_API OX_RESULT OX_CALL oxeEvmsgGetSnmpCommName(const evmsg* event, const char** text);
OX_API OX_RESULT OX_CALL oxeEvmsgSetSnmpCommName(evmsg* event, const char* text);
OX_API OX_RESULT OX_CALL oxeEvmsgClrSnmpCommName(evmsg* event);

/* enterprise of the trap, as a numeric path */
OX_API OX_RESULT OX_CALL oxeEvmsgGetSnmpEnterprises(const evmsg* event, const char** text);
OX_API OX_RESULT OX_CALL oxeEvmsgSetSnmpEnterprises(evmsg* event, const char* text);
OX_API OX_RESULT OX_CALL oxeEvmsgClrSnmpEnterprises(evmsg* event);

/* agent address of the trap */
OX_API OX_RESULT OX_CALL oxeEvmsgGetSnmpAgentAddr(const evmsg* event, uint32_t* value);
OX_API OX_RESULT OX_CALL oxeEvmsgSetSnmpAgentAddr(evmsg* event, uint32_t value);
OX_API OX_RESULT OX_CALL oxeEvmsgClrSnmpAgentAddr(evmsg* event);

/* generic trap number */
OX_API OX_RESULT OX_CALL oxeEvmsgGetSnmpGenTrap(const evmsg* event, uint32_t* value);
OX_API OX_RESULT OX_CALL oxeEvmsgSetSnmpGenTrap(evmsg* event, uint32_t value);
OX_API OX_RESULT OX_CALL oxeEvmsgClrSnmpGenTrap(evmsg* event);

/* specific trap number */
OX_API OX_RESULT OX_CALL oxeEvmsgGetSnmpSpecTrap(const evmsg* event, uint32_t* value);
OX_API OX_RESULT OX_CALL oxeEvmsgSetSnmpSpecTrap(evmsg* event, uint32_t value);
OX_API OX_RESULT OX_CALL oxeEvmsgClrSnmpSpecTrap(evmsg* event);

/* time stamp of the trap, hundredths of a second */
OX_API OX_RESULT OX_CALL oxeEvmsgGetSnmpTimeStamp(const evmsg* event, uint32_t* value);
OX_API OX_RESULT OX_CALL oxeEvmsgSetSnmpTimeStamp(evmsg* event, uint32_t value);
OX_API OX_RESULT OX_CALL oxeEvmsgClrSnmpTimeStamp(evmsg* event);

/* map on which the component stands */
OX_API OX_RESULT OX_CALL oxeEvmsgGetMapName(const evmsg* event, const char** text);
OX_API OX_RESULT OX_CALL oxeEvmsgSetMapName(evmsg* event, const char* text);
OX_API OX_RESULT OX_CALL oxeEvmsgClrMapName(evmsg* event);

/* source address of a trap over IPX: network 4 bytes, node 6, as they are */
OX_API OX_RESULT OX_CALL oxeEvmsgGetSnmpSrcIpxAddr(const evmsg* event, void* address);
OX_API OX_RESULT OX_CALL oxeEvmsgSetSnmpSrcIpxAddr(evmsg* event, const void* address);
OX_API OX_RESULT OX_CALL oxeEvmsgClrSnmpSrcIpxAddr(evmsg* event);

/* ---- Event record: encodings ------------------------------------------------------------------------------------
 * docs/protocol.md has the bytes.
 */

/*
 * Encodes the event, or with firstOnly 0 the list from it on, into one new block, released with oxcMemFree.
 * A null event gives a null block of length 0. A text over 65534 characters does not fit its length word and gives
 * bytes that cannot be decoded; a memo may have any length.
 * Returns 0; 3; 266 when the whole does not fit 32 bits, or from the list's encoding; 1 for a null output.
 */
OX_API OX_RESULT OX_CALL oxeEvmsgEncode(const evmsg* event, void** buffer, uint32_t* length, uint32_t firstOnly);

/*
 * Decodes events and appends them to *list, which is null or a list. Length 0 changes nothing.
 * Returns 0; 1 for data that end inside an event, or a text whose length disagrees with its end, and for a null list;
 * the error of oxdDecode; 3. On failure *list is as it was.
 */
OX_API OX_RESULT OX_CALL oxeEvmsgDecode(const void* buffer, uint32_t length, evmsg** list);

/*
 * The older encoding, of one event: Sender, RefEventId, MsgFile and SnmpSrcIpxAddr do not travel, and neither do
 * numbers of 0. Encode returns 266 for a memo of 65535 characters or more and for a list of over 65535 encoded bytes;
 * of other texts of that size the length wraps. Decode drops the Snmp fields of an event that is no trap
 * (OX_EVENT_TRAP); its results are those of oxeEvmsgDecode. 1 for a null argument; on failure the output is untouched.
 */
OX_API OX_RESULT OX_CALL oxeEvmsgEncodeR21(const evmsg* event, void** buffer, uint32_t* length);
OX_API OX_RESULT OX_CALL oxeEvmsgDecodeR21(const void* buffer, uint32_t length, evmsg** event);

/* ---- Filters ----------------------------------------------------------------------------------------------------
 * An event passes a filter when it meets every criterion that is on. A criterion fails when the event does not have the
 * field, save for the two flag bits, where an absent flag word counts as 0.
 */
enum {
  OX_EVFLT_FROMTIME = 0x000001,        /* OccurTime is not earlier */
  OX_EVFLT_TOTIME = 0x000002,          /* OccurTime is not later */
  OX_EVFLT_SNDID = 0x000004,           /* equal */
  OX_EVFLT_SENDER = 0x000008,          /* pattern, see oxcRegMatch */
  OX_EVFLT_EVENTTYPE = 0x000010,       /* class: a minimum level 1 to 4, OX_EVENT_SECOND, OX_EVENT_TRAP */
  OX_EVFLT_EVENTID = 0x000020,         /* equal */
  OX_EVFLT_REFEVENTID = 0x000040,      /* equal */
  OX_EVFLT_COMMNAME = 0x000080,        /* pattern */
  OX_EVFLT_COMPTYPE = 0x000100,        /* pattern */
  OX_EVFLT_COMPNAME = 0x000200,        /* pattern */
  OX_EVFLT_MSGFILE = 0x000400,         /* pattern, see oxcRegMatch2 */
  OX_EVFLT_MSGNUMBER = 0x000800,       /* equal */
  OX_EVFLT_MEMO = 0x001000,            /* pattern */
  OX_EVFLT_FLAGBIT1 = 0x002000,        /* bit 0x1 of Flag: 0 clear, else set */
  OX_EVFLT_FLAGBIT2 = 0x004000,        /* bit 0x2 of Flag: 0 clear, else set */
  OX_EVFLT_SNMPCOMMNAME = 0x008000,    /* pattern */
  OX_EVFLT_SNMPENTERPRISES = 0x010000, /* pattern */
  OX_EVFLT_SNMPAGENTADDR = 0x020000,   /* equal */
  OX_EVFLT_SNMPGENTRAP = 0x040000,     /* equal */
  OX_EVFLT_SNMPSPECTRAP = 0x080000,    /* equal */
  OX_EVFLT_FIRST = 0x100000,           /* of a list, the first so many events; single events are not tested */
  OX_EVFLT_LAST = 0x200000,            /* of a list, the last so many events; single events are not tested */
  OX_EVFLT_SNMPSRCIPXADDR = 0x400000   /* all 10 bytes equal */
};

/* A filter without criteria; null when memory runs out. */
OX_API evflt* OX_CALL oxeEvfltAlloc(void);

/* Returns 0, also for null. */
OX_API OX_RESULT OX_CALL oxeEvfltFree(evflt* filter);

/*
 * Switches one criterion on. value is the number, or the address of a pattern or of the 10 bytes, which are copied.
 * Returns 0; 195 for another bit, for a null or empty pattern, and for First or Last with a count of 0, which switches
 * the criterion off; 278 for First while Last is on, and Last while First is; 3, with the filter as it was; 1 for a
 * null filter.
 */
OX_API OX_RESULT OX_CALL oxeEvfltSet(evflt* filter, uint32_t bit, uintptr_t value);

/* Switches one criterion off. Returns 0, 1 for a null filter. */
OX_API OX_RESULT OX_CALL oxeEvfltClr(evflt* filter, uint32_t bit);

/* The number of a criterion. Returns 0; 122 for one that is off or holds no number; 1 for a null argument. */
OX_API OX_RESULT OX_CALL oxeEvfltGetNumber(const evflt* filter, uint32_t bit, uint32_t* value);

/* 1 when the event passes, else 0. A null filter, or one without criteria, passes every event; no filter a null one. */
OX_API uint32_t OX_CALL oxeEvfltMatch(const evmsg* event, const evflt* filter);

/*
 * Shortens a list to its first or last events, as the filter's First or Last says, and releases the others; *list is
 * the first event that is left. Does nothing without a list, a filter, or either criterion.
 */
OX_API void OX_CALL oxeEvfltFirstLast(evmsg** list, const evflt* filter);

/*
 * The byte form of a filter, in a new block released with oxcMemFree. 0; 3; 1 for a null argument.
 * Decode returns 1 for data that end inside the filter, or a text whose length disagrees with its end; bytes behind the
 * filter are not looked at. Of First and Last together, First is kept.
 */
OX_API OX_RESULT OX_CALL oxeEvfltEncode(const evflt* filter, void** buffer, uint32_t* length);
OX_API OX_RESULT OX_CALL oxeEvfltDecode(const void* buffer, uint32_t length, evflt** filter);

/* ---- Sending ----------------------------------------------------------------------------------------------------
 * The manager's error 6, no such event handle, is returned as 255.
 */

/* Opens an event handle for a sender of that name. Returns 0; 14; 1 for a null sender name or handle. */
OX_API OX_RESULT OX_CALL oxeEventOpen(const char* session, const char* senderName, uint32_t* handle);
OX_API OX_RESULT OX_CALL oxeEventClose(uint32_t handle);

/*
 * Sends the first event of a list. The manager completes it: the fields that it answers are set in the event, but
 * MsgFile and SnmpSrcIpxAddr, which stay the sender's. Returns 0; 255; 1 for an answer without an event.
 */
OX_API OX_RESULT OX_CALL oxeEventSend(uint32_t handle, evmsg* event);

/* Takes back the event of an identifier that was sent before. Returns 0; 255. */
OX_API OX_RESULT OX_CALL oxeEventCancel(uint32_t handle, const evmsg* event);

/* ---- The manager's event log ------------------------------------------------------------------------------------ */

/*
 * Reads the log's events that pass the filter, in order; null stands for all. The caller releases *list with
 * oxeEvmsgFree. Returns 0; the manager's 122 when there is none; 1 for an answer without events.
 */
OX_API OX_RESULT OX_CALL oxeEvlogGet(const char* session, const evflt* filter, evmsg** list);

/*
 * Mark events of the log as checked, take the mark away, delete them, replace them. mode 1: the first event of the
 * list alone, any other: the list from it on. A list that is longer than the manager takes in one request ("MaxFrame")
 * is marked and deleted in several: the first that fails ends it, its code is returned, and what the earlier ones have
 * done stays done. A list of replacements goes in one request and is refused with 266 when it is too long.
 */
OX_API OX_RESULT OX_CALL oxeEvlogCheck(const char* session, uint32_t mode, const evmsg* list);
OX_API OX_RESULT OX_CALL oxeEvlogUncheck(const char* session, uint32_t mode, const evmsg* list);
OX_API OX_RESULT OX_CALL oxeEvlogDelete(const char* session, uint32_t mode, const evmsg* list);
OX_API OX_RESULT OX_CALL oxeEvlogModify(const char* session, uint32_t mode, const evmsg* list);

/* ---- Waits ------------------------------------------------------------------------------------------------------
 * A wait's callback runs on the session's thread, from oxaDispatch or the thread's message loop. It may send requests,
 * open and close waits, its own too, and dispatch. All of this belongs to that thread: on another one the operations on
 * waits and their filters return 5001.
 * An exception must not leave a callback. On Linux one that does costs that delivery alone: it counts as refused, and
 * the system's log has a line. On Windows the process ends.
 */

/*
 * Called with the wait, 0, the argument given when it was opened, and either a list of events and code 0 or no list and
 * a code: 17 when the manager's connection is gone (the wait goes on with the next one; a plain wait may have missed
 * events, a persistent one is given them), 166 when the manager has ended the wait, 1 or another for a
 * delivery that could not be read. The callback owns the list and releases it with oxeEvmsgFree.
 * The result counts for persistent waits: 0 takes the delivery, any other refuses it, and the manager will deliver it
 * again.
 */
typedef OX_RESULT(OX_CALL* oxeEventCallback)(void* wait, uint32_t reserved, void* argument, evmsg* list,
                                             OX_RESULT code);

/*
 * Open a wait for events, for events that came from traps. flags are kept and have no meaning yet.
 * Return 0 and the wait; 3; 1 for a null callback or wait; the errors of oxaAsyGet.
 */
OX_API OX_RESULT OX_CALL oxeEventWaitOpen(const char* session, uint32_t flags, oxeEventCallback callback,
                                          void* argument, void** wait);
OX_API OX_RESULT OX_CALL oxeTrapWaitOpen(const char* session, uint32_t flags, oxeEventCallback callback, void* argument,
                                         void** wait);

/*
 * Gives the wait a copy of a filter in place of the one it had; null takes it away. The first event of a delivery is
 * tested, and the delivery taken or dropped whole. Returns 0; 1 for an unknown wait; 3.
 */
OX_API OX_RESULT OX_CALL oxeEventWaitFilter(void* wait, const evflt* filter);

/* Ends a wait of either kind. Returns 1 for an unknown one, else the result of oxaClose, with the wait gone. */
OX_API OX_RESULT OX_CALL oxeEventWaitClose(void* wait);

/*
 * Called with the wait, its argument, the map's component name, and name and status of an icon: null and 0 for what the
 * manager did not report. With a code, there are no values. Texts last until the callback returns.
 */
typedef void(OX_CALL* oxeEventIconCallback)(void* wait, void* argument, const char* compName, const char* iconName,
                                            uint32_t iconStatus, OX_RESULT code);

/* Opens a wait for the icons of a map. 70 for a null map name; 59 for one of 64 characters or more; else as above. */
OX_API OX_RESULT OX_CALL oxeEventIconWaitOpen(const char* session, const char* mapName, oxeEventIconCallback callback,
                                              void* argument, void** wait);
OX_API OX_RESULT OX_CALL oxeEventIconWaitClose(void* wait);

/*
 * Opens a persistent wait: the manager keeps what the wait of this name has not taken yet, also while no process has it
 * open. Deliveries carry numbers; the last one taken is kept, on Linux by the application's account, on Windows where
 * the registry key "SOFTWARE\CORVID\OXBASE\evWaitKey\<name>" exists, and is not delivered twice, in a later process
 * either. Of a process's persistent waits one callback runs at a time: while it dispatches, callbacks of other kinds
 * run, and the next delivery comes when it has returned. Returns 0 and the wait; 195 for a null or empty name or a null
 * wait; 418 for a name over 64 characters; 14; 3; 1 for a null callback. On failure *wait is null.
 */
OX_API OX_RESULT OX_CALL oxeEventWaitOpenEx(const char* name, oxeEventCallback callback, void* argument, void** wait);

/* As oxeEventWaitFilter. */
OX_API OX_RESULT OX_CALL oxeEventWaitFilterEx(void* wait, const evflt* filter);

/*
 * Ends a persistent wait; from inside its callback, when that returns. Returns 195 for an unknown or closed one, else
 * the manager's answer, with the wait gone.
 */
OX_API OX_RESULT OX_CALL oxeEventWaitCloseEx(void* wait);

#ifdef __cplusplus
}

/* Typed forms of oxeEvfltSet. */
inline OX_RESULT oxeEvfltSetNumber(evflt* filter, uint32_t bit, uint32_t value) {
  return oxeEvfltSet(filter, bit, value);
}
inline OX_RESULT oxeEvfltSetPattern(evflt* filter, uint32_t bit, const char* pattern) {
  return oxeEvfltSet(filter, bit, reinterpret_cast<uintptr_t>(pattern));
}
#endif

#endif
