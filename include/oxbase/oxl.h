/*
 * Log entries: what the manager collects, how often, and how long it keeps it. Data entries: what it has collected.
 *
 * The manager keeps each log entry as a component "logEnt:name". A record mirrors its attributes: it is opened under
 * the component's lock, changed locally, and closed, which writes what has been changed in one request.
 *
 * Every call returns the codes of oxa.h beside its own, 195 for a null argument that must not be null, and 3. `manager`
 * is as in oxa.h; names have fewer than 64 characters, else 59.
 */
#ifndef OXBASE_OXL_H
#define OXBASE_OXL_H

#include <oxbase/oxa.h>
#include <oxbase/oxd.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef struct LogEntry LogEntry;         /* opaque */
typedef struct LogEntryList LogEntryList; /* opaque */

/* ---- The record ------------------------------------------------------------------------------------------------- */

/*
 * A record for a new entry: Title "No Title", CompName and AmibName "", Interval "10m", RotatePeriod "1D", ExpirePeriod
 * "1W", all of them to be written. On failure *record is null.
 */
OX_API OX_RESULT OX_CALL oxlAllocLogEntry(LogEntry** record);
OX_API OX_RESULT OX_CALL oxlFreeLogEntry(LogEntry* record); /* 0, also for null. A lock that it has stays. */

/*
 * Get: the record's own text, null where it has none, or number. Set: copies, and has the attribute written when the
 * record is closed; a null text and one that is there already change nothing.
 */
/* display title */
OX_API OX_RESULT OX_CALL oxlLogEntryGetTitle(const LogEntry* record, const char** text);
OX_API OX_RESULT OX_CALL oxlLogEntrySetTitle(LogEntry* record, const char* text);
/* component whose values are collected */
OX_API OX_RESULT OX_CALL oxlLogEntryGetCompName(const LogEntry* record, const char** text);
OX_API OX_RESULT OX_CALL oxlLogEntrySetCompName(LogEntry* record, const char* text);
/* what is collected of it */
OX_API OX_RESULT OX_CALL oxlLogEntryGetAmibName(const LogEntry* record, const char** text);
OX_API OX_RESULT OX_CALL oxlLogEntrySetAmibName(LogEntry* record, const char* text);
/* when collection starts, seconds since 1970 */
OX_API OX_RESULT OX_CALL oxlLogEntryGetStartTime(const LogEntry* record, uint32_t* value);
OX_API OX_RESULT OX_CALL oxlLogEntrySetStartTime(LogEntry* record, uint32_t seconds);
/* number and unit s, m, h, D, W, M or Y, without unit seconds; as RotatePeriod, ExpirePeriod */
OX_API OX_RESULT OX_CALL oxlLogEntryGetInterval(const LogEntry* record, const char** text);
OX_API OX_RESULT OX_CALL oxlLogEntrySetInterval(LogEntry* record, const char* text);
/* after that long a data entry is closed and the next one begins */
OX_API OX_RESULT OX_CALL oxlLogEntryGetRotatePeriod(const LogEntry* record, const char** text);
OX_API OX_RESULT OX_CALL oxlLogEntrySetRotatePeriod(LogEntry* record, const char* text);
/* after that long collected data expire */
OX_API OX_RESULT OX_CALL oxlLogEntryGetExpirePeriod(const LogEntry* record, const char** text);
OX_API OX_RESULT OX_CALL oxlLogEntrySetExpirePeriod(LogEntry* record, const char* text);
/* a schedule text (oxcmd.h) */
OX_API OX_RESULT OX_CALL oxlLogEntryGetSchedule(const LogEntry* record, const char** text);
OX_API OX_RESULT OX_CALL oxlLogEntrySetSchedule(LogEntry* record, const char* text);
/* 0: collects when the schedule holds; 1: when it does not */
OX_API OX_RESULT OX_CALL oxlLogEntryGetScheduleType(const LogEntry* record, uint32_t* value);
OX_API OX_RESULT OX_CALL oxlLogEntrySetScheduleType(LogEntry* record, uint32_t type);
/* by which backups find the entry again */
OX_API OX_RESULT OX_CALL oxlLogEntryGetKey(const LogEntry* record, const char** text);
/* the manager's number of the entry */
OX_API OX_RESULT OX_CALL oxlLogEntryGetID(const LogEntry* record, uint32_t* value);
/* 0 not set, 2 running, 3 stopped, 4 cannot be started or stopped */
OX_API OX_RESULT OX_CALL oxlLogEntryGetStatus(const LogEntry* record, uint32_t* value);
/* seconds since 1970 */
OX_API OX_RESULT OX_CALL oxlLogEntryGetLastCollectTime(const LogEntry* record, uint32_t* value);
/* name of the data entry that is being filled */
OX_API OX_RESULT OX_CALL oxlLogEntryGetActiveDataEntry(const LogEntry* record, const char** text);
/* number of the last data entry made */
OX_API OX_RESULT OX_CALL oxlLogEntryGetLastDentID(const LogEntry* record, uint32_t* value);
/* collections that failed since the start */
OX_API OX_RESULT OX_CALL oxlLogEntryGetAttr15(const LogEntry* record, uint32_t* value);
/* the entry's name, as does EntryName */
OX_API OX_RESULT OX_CALL oxlLogEntryGetName(const LogEntry* record, const char** text);
OX_API OX_RESULT OX_CALL oxlLogEntryGetEntryName(const LogEntry* record, const char** text);

/*
 * Gives a record whose Status is 0 one: 3 for type 1, 4 for any other. A record that has a Status keeps it; 0 all the
 * same. oxlLogEntrySetScheduleType takes 0 and 1 and ignores others.
 */
OX_API OX_RESULT OX_CALL oxlLogEntrySetType(LogEntry* record, uint32_t type);

/* ---- Reading and writing ---------------------------------------------------------------------------------------- */

/*
 * Locks the entry with oxaCompLock's argument lockOption and reads it into a new record, which is closed with one of
 * the two below. Returns 0; 0 with *record left as it was when the entry has no attributes; 84 when there is none.
 */
OX_API OX_RESULT OX_CALL oxlLogEntryOpen(const char* manager, const char* name, uint32_t lockOption, LogEntry** record);

/*
 * Write what has been set, where anything has, to the record's manager, release the lock, and release the record.
 * When writing fails, the record stays, to be closed again or freed: with its lock after oxlLogEntryClose, without
 * after oxlLogEntryClose2. The lock is released at the local manager, or at the one given. Return 0; 59 for a record
 * without a name.
 */
OX_API OX_RESULT OX_CALL oxlLogEntryClose(LogEntry* record);
OX_API OX_RESULT OX_CALL oxlLogEntryClose2(const char* manager, LogEntry* record);

/* Reads an entry as oxlLogEntryOpen does, without keeping a lock. The record is released with oxlFreeLogEntry. */
OX_API OX_RESULT OX_CALL oxlGetLogEntry(const char* manager, const char* name, LogEntry** record);

/*
 * Writes what has been set in a record, which stays the caller's. One without a name gets an entry made for it, with
 * its name and with the schedule of "schEnt:LogDefault", if there is one, in the place of its own.
 */
OX_API OX_RESULT OX_CALL oxlSetLogEntry(const char* manager, LogEntry* record);

/* ---- Entries ---------------------------------------------------------------------------------------------------- */

/* Makes an entry, and a record that has nothing but its name and no manager: it is written to the local one. */
OX_API OX_RESULT OX_CALL oxlLogEntryCreate(const char* manager, LogEntry** record);

/*
 * Makes an entry with the attributes of another; it is stopped and has no data. Its name stands in a buffer of the
 * process until anything else is made there. Also 195 for an empty source. On failure there is no new entry.
 */
OX_API OX_RESULT OX_CALL oxlLogEntryCopy(const char* manager, const char* source, const char** name);

/* Deletes an entry. 84 when there is none; 269 for "_logEnt1", the system's own. */
OX_API OX_RESULT OX_CALL oxlLogEntryDelete(const char* manager, const char* name);
OX_API OX_RESULT OX_CALL oxlDeleteLogEntry(const char* manager, const char* name); /* the same */

/* Starts, stops collection. 84; 279 for an entry that cannot be started or stopped; 195, 70 for unfit settings. */
OX_API OX_RESULT OX_CALL oxlLogEntryStart(const char* manager, const char* name);
OX_API OX_RESULT OX_CALL oxlStartLogEntry(const char* manager, const char* name); /* the same */
OX_API OX_RESULT OX_CALL oxlLogEntryStop(const char* manager, const char* name);
OX_API OX_RESULT OX_CALL oxlStopLogEntry(const char* manager, const char* name); /* the same */

/* The names of all entries in the order of their IDs, to open one after the other. Without an entry *list is null. */
OX_API OX_RESULT OX_CALL oxlLogEntryListOpen(const char* manager, LogEntryList** list);

/*
 * Opens the list's next entry as oxlLogEntryOpen does. Behind the last one, and for a null list, *record is null. An
 * entry that fails is tried again by the next call.
 */
OX_API OX_RESULT OX_CALL oxlLogEntryNextOpen(LogEntryList* list, uint32_t lockOption, LogEntry** record);
OX_API OX_RESULT OX_CALL oxlLogEntryListClose(LogEntryList* list); /* 0, also for null */

/* A node of the name of each entry, to be released with oxdFree. 122 when there is none. */
OX_API OX_RESULT OX_CALL oxlGetLogEntryNameList(const char* manager, dnode** list);

/* The name of the entry with that ID, in a buffer of the thread. 183 when there is none. */
OX_API OX_RESULT OX_CALL oxlLogEntryIDtoName(const char* manager, uint32_t id, const char** name);

/* ---- Errors ----------------------------------------------------------------------------------------------------- */

/* Called with the code of a collection that has begun to fail, the name of its log entry, and 0. */
typedef void(OX_CALL* oxlErrorCallback)(uint32_t code, const char* name, uint32_t);

/*
 * Has the callback, the process's only one, called from oxaDispatch for every collection that begins to fail, until
 * *handle is closed with oxaClose. On failure the callback before it stays.
 */
OX_API OX_RESULT OX_CALL oxlInit(const char* manager, oxlErrorCallback callback, void** handle);

/* ---- Data entries -----------------------------------------------------------------------------------------------
 * Each log entry stores what it collects in data entries, components "dataEnt:name" that are related to it by
 * "logEnt-dataEnt". Each covers a period.
 */
typedef struct DataEntry DataEntry;         /* opaque */
typedef struct DataEntryList DataEntryList; /* opaque */

/* Read an entry into a new record, which is released with one of the two below. 84, 122 when there is none. */
OX_API OX_RESULT OX_CALL oxlDataEntryOpen(const char* manager, const char* name, DataEntry** record);
OX_API OX_RESULT OX_CALL oxlGetDataEntry(const char* manager, const char* name, DataEntry** record); /* the same */
OX_API OX_RESULT OX_CALL oxlDataEntryClose(DataEntry* record); /* 0, also for null */
OX_API OX_RESULT OX_CALL oxlFreeDataEntry(DataEntry* record);  /* the same */

/* The record's own text, null where it has none, or number. */
/* the entry's name, as does EntryName */
OX_API OX_RESULT OX_CALL oxlDataEntryGetName(const DataEntry* record, const char** text);
OX_API OX_RESULT OX_CALL oxlDataEntryGetEntryName(const DataEntry* record, const char** text);
/* Key of the log entry */
OX_API OX_RESULT OX_CALL oxlDataEntryGetLogEntryKey(const DataEntry* record, const char** text);
/* number within the log entry */
OX_API OX_RESULT OX_CALL oxlDataEntryGetID(const DataEntry* record, uint32_t* value);
/* when collection started; times are seconds since 1970 */
OX_API OX_RESULT OX_CALL oxlDataEntryGetStartTime(const DataEntry* record, uint32_t* value);
/* what has been collected, and how often */
OX_API OX_RESULT OX_CALL oxlDataEntryGetCompName(const DataEntry* record, const char** text);
OX_API OX_RESULT OX_CALL oxlDataEntryGetAmibName(const DataEntry* record, const char** text);
OX_API OX_RESULT OX_CALL oxlDataEntryGetInterval(const DataEntry* record, const char** text);
/* 1 collecting, 2 busy, 3 closed */
OX_API OX_RESULT OX_CALL oxlDataEntryGetStatus(const DataEntry* record, uint32_t* value);
/* zone and offset at the start */
OX_API OX_RESULT OX_CALL oxlDataEntryGetLocalTime(const DataEntry* record, const char** text);
OX_API OX_RESULT OX_CALL oxlDataEntryGetPeriodStart(const DataEntry* record, uint32_t* value);
/* 2145916800 while the entry is being filled */
OX_API OX_RESULT OX_CALL oxlDataEntryGetPeriodEnd(const DataEntry* record, uint32_t* value);
/* bytes of what has been collected */
OX_API OX_RESULT OX_CALL oxlDataEntryGetDataSize(const DataEntry* record, uint32_t* value);

/*
 * The period in local dates, "from" or "from - to" as its unit says, and the title with the period behind it in
 * parentheses. Both are in a buffer of the thread for each.
 * Return 0; 195 for a period that is not a number and one unit s, m, h, D, W, M or Y; 70 for a time that the platform
 * cannot show.
 */
OX_API OX_RESULT OX_CALL oxlDataEntryGetPeriod(const DataEntry* record, const char** text);
OX_API OX_RESULT OX_CALL oxlDataEntryGetTitle(const DataEntry* record, const char** text);

/*
 * The names of a log entry's data entries in the order of their IDs, to open one after the other; without one *list is
 * null. Next, close: as for log entries.
 */
OX_API OX_RESULT OX_CALL oxlDataEntryListOpen(const char* manager, const char* logEntry, DataEntryList** list);
OX_API OX_RESULT OX_CALL oxlDataEntryNextOpen(DataEntryList* list, DataEntry** record);
OX_API OX_RESULT OX_CALL oxlDataEntryListClose(DataEntryList* list);

/* A node "dataEnt:name" for each, to be released with oxdFree; null without one. */
OX_API OX_RESULT OX_CALL oxlGetDataEntryNameList(const char* manager, const char* logEntry, dnode** list);

/* The name of the log entry's data entry of that ID, in a buffer of the thread. 183 when there is none. */
OX_API OX_RESULT OX_CALL oxlDataEntryIDtoName(const char* manager, const char* logEntry, uint32_t id,
                                              const char** name);

/* Deletes an entry. 268 for one that is collecting. */
OX_API OX_RESULT OX_CALL oxlDataEntryDelete(const char* manager, const char* name);
OX_API OX_RESULT OX_CALL oxlDeleteDataEntry(const char* manager, const char* name); /* the same */

/*
 * Moves an entry to another log entry, whose next number it gets; its Status is 3 then. When that fails, number and log
 * entry are put back. 267 for an entry that is collecting or busy.
 */
OX_API OX_RESULT OX_CALL oxlDataEntryMove(const char* manager, const char* name, const char* logEntry);

/*
 * Makes a closed copy of an entry, with what it has collected, for a log entry, whose next number it gets. Its name
 * stands in a buffer of the process until anything else is made there. On failure there is no new entry.
 */
OX_API OX_RESULT OX_CALL oxlDataEntryCopy(const char* manager, const char* source, const char* logEntry,
                                          const char** name);

/* ---- Collected values ------------------------------------------------------------------------------------------- */

/*
 * All that an entry has collected (oxd.h), to be released with oxlFreeDataEntryMatrix.
 * Returns 0; 84, 122 when there is none; 1 for values that are no items; 3, also for a table that no memory holds.
 */
OX_API OX_RESULT OX_CALL oxlGetDataEntryLogData(const char* manager, const char* name, oxdMatrix** matrix);
OX_API OX_RESULT OX_CALL oxlFreeDataEntryMatrix(oxdMatrix* matrix); /* 0, also for null */

/*
 * What a log entry has collected, in all its data entries, as one matrix, to be released with oxlFreeDataEntryMatrix.
 * The words of `selection`, which may be null for everything: the first and the last second (since 1970; 0: no bound),
 * a step in seconds, a function (below), and a count: of the last so many times, 0 for all. Functions 1 to 3 and those
 * with a step give one value for each step, the others one for each round; without a step 1 to 3 give one for all of
 * the window. 3 to 5 give texts, such as "12.5".
 *
 * A cell without a value has the reason in the high half of its status word (docs/protocol.md). Of differences and
 * rates the word is 0; 0x00100000 when a counter of 32 bits began anew, which is allowed for; 0x00110000 when its agent
 * did and 0x00120000 when it went back without a reason, and there is no value then.
 *
 * Returns 0; 84; 122 when the manager does not collect; 121 when some of it is damaged; 1, 3 as
 * oxlGetDataEntryLogData.
 */
#define OXL_VALUES 0 /* as they were read */
#define OXL_MINIMUM 1
#define OXL_MAXIMUM 2
#define OXL_AVERAGE 3
#define OXL_DIFFERENCE 4 /* to the value before */
#define OXL_RATE 5       /* the same a second, by the agent's own clock where it was read, else by the manager's */
OX_API OX_RESULT OX_CALL oxlGetLogEntryData(const char* manager, const char* name, const oxaSelection* selection,
                                            oxdMatrix** matrix);

/*
 * Called with the request, the argument given when it was made, a piece of the values, which the callback owns and
 * releases with oxlFreeDataEntryMatrix, and a code: 0 or what went wrong. A piece has the axes of all, and the times of
 * its own. Without a piece the matrix is null: 122 says that all is delivered, 17 that the connection is lost; with the
 * next one all of it comes again.
 */
typedef void(OX_CALL* oxlDataCallback)(void* request, void* argument, oxdMatrix* matrix, OX_RESULT code);

/*
 * Has what an entry has collected, and goes on to collect, delivered piece by piece from oxaDispatch, until
 * oxlDataEntryGetDataStop, which the callback may call, too. Returns 0 and the request.
 */
OX_API OX_RESULT OX_CALL oxlDataEntryGetData(const char* manager, const char* name, oxlDataCallback callback,
                                             void* argument, void** request);

/* Ends a delivery. 63 for an unknown one; 14, 17 or the manager's error, with it gone. */
OX_API OX_RESULT OX_CALL oxlDataEntryGetDataStop(void* request);

#ifdef __cplusplus
}
#endif

#endif
