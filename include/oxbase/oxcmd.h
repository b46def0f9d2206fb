/*
 * Command entries, which the manager runs at set times, and schedules: when a log entry collects, a command runs, a
 * rule is in force.
 *
 * A schedule text has up to six fields, parted by blanks: times of day, weekdays, days of the month, months, dates, and
 * a calendar. "*" and a field that is not there restrict nothing. docs/files.md describes the fields.
 */
#ifndef OXBASE_OXCMD_H
#define OXBASE_OXCMD_H

#include <oxbase/oxc.h>

#ifdef __cplusplus
extern "C" {
#endif

/* ---- The record ------------------------------------------------------------------------------------------------- */

/*
 * A range, from its first second to the one before its end; with an end of 0 a single instant. A bound that the text
 * does not give is 0. Lists are Queues.
 */
typedef struct oxcmdSchTime {
  struct oxcmdSchTime* next;
  struct oxcmdSchTime* prev;
  uint32_t start; /* seconds: of a time list since midnight, of a date list since 1970 */
  uint32_t end;
  uint32_t reserved; /* 0 */
} oxcmdSchTime;

/* Days that a calendar item names, and the times that it gives them. A mask of 0 and an empty list restrict nothing. */
typedef struct oxcmdCalender {
  struct oxcmdCalender* next;
  struct oxcmdCalender* prev;
  uint32_t year;    /* 0: every year */
  uint8_t flag;     /* 0x80: "~", the item takes its times away */
  uint8_t weekdays; /* as in Schedule */
  uint16_t months;
  uint32_t days;
  oxcmdSchTime* times;
} oxcmdCalender;

typedef struct Schedule {
  oxcmdSchTime* times;
  uint8_t weekdays; /* bit d: weekday d, 0 Sunday to 6 Saturday */
  uint16_t months;  /* bit m - 1: month m, 1 to 12 */
  uint32_t days;    /* bit d - 1: day d, 1 to 31 */
  oxcmdSchTime* dates;
  oxcmdCalender* calender;
} Schedule;

/* ---- Texts ------------------------------------------------------------------------------------------------------ */

/*
 * Reads a schedule text into a new record, which the caller releases with oxcmdScheduleFree; with a null output the
 * text is only checked. A null, empty or blank text makes no record: the output is null then.
 * Returns 0; 86 for more than six fields, 68 for an open quote; the errors of the fields below; 3.
 */
OX_API OX_RESULT OX_CALL oxcmdStrToSchedule(const char* text, Schedule** schedule);
OX_API OX_RESULT OX_CALL oxcmdScheduleFree(Schedule* schedule); /* 0, also for null */

/*
 * Read a list of times of day ("08:00:00-17:30:00,20:00:00") and of dates, whose bounds are those of oxcStrToUxTime,
 * into a new list, which the caller releases with oxcmdSchTimeFree. A null text, "*" and an empty text make none.
 * Either bound of a range may be missing; an empty item ends the list.
 * Return 0; the errors of the bounds; 3; 1 for a null output.
 */
OX_API OX_RESULT OX_CALL oxcmdStrToSchTime(const char* text, oxcmdSchTime** list);
OX_API OX_RESULT OX_CALL oxcmdStrToSchTimeYmdt(const char* text, oxcmdSchTime** list);
OX_API OX_RESULT OX_CALL oxcmdSchTimeFree(oxcmdSchTime* list); /* 0, also for null */

/*
 * Reads "hours:minutes:seconds", decimal and without upper bounds: "25:00:00" is 90000.
 * Returns 0; 1 for a null argument or a text of over 8 characters; 70 for another form.
 */
OX_API OX_RESULT OX_CALL oxcmdStrToTime(const char* text, uint32_t* seconds);

/*
 * Set the bits of a list ("1-5,7", in base 0 of oxcStrToLong) in the mask. A null text and "*" leave it as it is; a
 * range whose first number is the greater sets nothing; an empty item ends the list.
 * Return 0; 70 for a value out of range or a malformed number, 88, with the bits of what stood before it set; 1 for a
 * null mask.
 */
OX_API OX_RESULT OX_CALL oxcmdStrToWday(const char* text, uint8_t* mask);
OX_API OX_RESULT OX_CALL oxcmdStrToMday(const char* text, uint32_t* mask);
OX_API OX_RESULT OX_CALL oxcmdStrToMonth(const char* text, uint16_t* mask);

/* Set the bit of one value: weekday 0 to 6, day 1 to 31, month 1 to 12. Return 0; 70 out of range; 1 for a null mask.
 */
OX_API OX_RESULT OX_CALL oxcmdWdayMaskSet(int32_t value, uint8_t* mask);
OX_API OX_RESULT OX_CALL oxcmdMdayMaskSet(int32_t value, uint32_t* mask);
OX_API OX_RESULT OX_CALL oxcmdMonthMaskSet(int32_t value, uint16_t* mask);

/*
 * Reads calendar items, parted by "|", each "[~]year/months/days/weekdays/times" with as many parts as it needs, into
 * a new list, which the caller releases with oxcmdCalenderFree. A null text, "*" and an empty text make none; an empty
 * item ends the list.
 * Returns 0; 86 for more than six parts (the sixth is not used); 70 for an item without parts or a year that is no
 * decimal number, 88; the errors of what its fields hold; 3; 1 for a null output.
 */
OX_API OX_RESULT OX_CALL oxcmdStrToCalender(const char* text, oxcmdCalender** list);
OX_API OX_RESULT OX_CALL oxcmdCalenderFree(oxcmdCalender* list); /* 0, also for null */

/* ---- Meaning ----------------------------------------------------------------------------------------------------
 * A day has the times of the first field where weekday, day of the month and month hold, and the times that calendar
 * items give it, less those that items with "~" take away; a day without times is whole. Times count from the midnight
 * of their day by the zone's clocks and may run into the next days ("22:00:00-26:00:00"). A time that comes twice in
 * autumn is the first of the two, one that the spring change leaves out the moment of the change. All that holds only
 * within the dates of the fifth field. Ranges that touch are one.
 *
 * The zone is oxcZoneOpen's. Nothing here allocates or locks.
 */

/* What happens at a moment: a single instant, a range opens, a range closes. */
enum { OXCMD_INSTANT = 1, OXCMD_OPENS = 2, OXCMD_CLOSES = 4 };

/*
 * The first moment after `after`, the last one before `before`, at which something happens, and what: one or more of
 * the kinds. Each output may be null. A range without beginning or end from 1970 to 2106 does not open or close.
 * Return 0; 122 when nothing happens any more, has happened; 1 for a null schedule or zone.
 */
OX_API OX_RESULT OX_CALL oxcmdScheduleNext(const Schedule* schedule, const oxcZone* zone, uint32_t after,
                                           uint32_t* time, uint32_t* kinds);
OX_API OX_RESULT OX_CALL oxcmdSchedulePrev(const Schedule* schedule, const oxcZone* zone, uint32_t before,
                                           uint32_t* time, uint32_t* kinds);

/*
 * Whether a moment lies in a range: *inside is 1 and the range's bounds are given, 0 for a beginning and 4294967295 for
 * an end that do not come; else *inside is 0 and the bounds are left as they were. The bounds may be null.
 * Returns 0; 1 for another null argument.
 */
OX_API OX_RESULT OX_CALL oxcmdScheduleInside(const Schedule* schedule, const oxcZone* zone, uint32_t at,
                                             uint32_t* inside, uint32_t* begin, uint32_t* end);

/* The fields of a schedule. */
enum {
  OXCMD_TIMES = 1,
  OXCMD_WEEKDAYS = 2,
  OXCMD_DAYS = 4,
  OXCMD_MONTHS = 8,
  OXCMD_DATES = 16,
  OXCMD_CALENDER = 32 /* an item with "~" */
};

/*
 * Why a moment is in no range and no instant: the fields that refuse it, none when it is.
 * Returns 0; 1 for a null argument.
 */
OX_API OX_RESULT OX_CALL oxcmdScheduleRefusal(const Schedule* schedule, const oxcZone* zone, uint32_t at,
                                              uint32_t* fields);

/* What is read without an error, but hardly as it was meant. */
typedef enum oxcmdDoubt {
  OXCMD_REVERSED = 1, /* a range that ends where it begins, or before: nothing */
  OXCMD_NODAY = 2,    /* days that none of the months has */
  OXCMD_NOBOUND = 3,  /* "-": midnight, of 1970 in a date list, and no range */
  OXCMD_NOEND = 4,    /* "x-": the instant x, not a range without end */
  OXCMD_ZEROEND = 5,  /* "x-00:00:00", "x-present": the same; midnight as an end is 24:00:00 */
  OXCMD_NOYEAR = 6,   /* a date without its year: the year in which the text is read */
  OXCMD_PRESENT = 7,  /* "present" as a beginning: no bound, not the present time */
  OXCMD_OVERFLOW = 8, /* minutes or seconds over 59 */
  OXCMD_IGNORED = 9,  /* what stands behind an empty item, or in the sixth part of a calendar item */
  OXCMD_NEVER = 10    /* nothing happens any more, and no range is open */
} oxcmdDoubt;

/* Called for each doubt: the number of the field, from 1, and the item; field 0 and the whole text for OXCMD_NEVER. */
typedef void(OX_CALL* oxcmdDoubtFn)(void* argument, uint32_t doubt, uint32_t field, const char* item);

/*
 * Reads a schedule text and names what is doubtful in it, seen from the moment `now`.
 * Returns 0, with doubts or without; the errors of oxcmdStrToSchedule, with the field in *field (0: none), which may be
 * null; 1 for a null text, zone or function.
 */
OX_API OX_RESULT OX_CALL oxcmdScheduleCheck(const char* text, const oxcZone* zone, uint32_t now, oxcmdDoubtFn doubt,
                                            void* argument, uint32_t* field);

/* ---- Command entries ---------------------------------------------------------------------------------------------
 * The manager keeps each as a component "cmdEnt:name"; a record mirrors its attributes.
 *
 *   CmdName, Argument              the command and its argument text
 *   StartTime                      first start, seconds since 1970
 *   Interval                       seconds between starts; 0: no repetition
 *   AdminStatus                    1 armed, 0 not
 *   OperStatus                     0 not armed, 1 armed, 2 running, 3 the last run failed; the manager's
 *   ID                             the manager's number of the entry
 *   Mode                           1: may run beside itself; 2: one at a time; 3: as 2, and catches up one missed run
 *   Owner                          application or user
 *   Schedule                       a schedule text; then StartTime and Interval stand back
 *   InvalidCmdName, InvalidCmdArg  what runs when a range of the schedule closes, and when a run could not start
 *
 * Requests return the codes of oxa.h beside their own; `manager` is as there. A failed call hands nothing out.
 */

/* Opaque; its first two fields are the Queue links, by which records make lists. */
typedef struct cmdEntry cmdEntry;

/* A record without values and on no list; null when memory runs out. */
OX_API cmdEntry* OX_CALL oxcmdEntryAlloc(void);

/* Releases a record that is on no list, or a list from its first record. 0, also for null. */
OX_API OX_RESULT OX_CALL oxcmdEntryFree(cmdEntry* list);

/*
 * Fields. Set: copies a text, null takes it away; 0; 3, with the field as it was; 1 for a null record. Get: the
 * record's own text, null where it has none; 0; 1 for a null argument.
 */
/* result of the last operation done for the record */
OX_API OX_RESULT OX_CALL oxcmdCmdEntGetError(const cmdEntry* record, uint32_t* value);
OX_API OX_RESULT OX_CALL oxcmdCmdEntSetError(cmdEntry* record, uint32_t value);
OX_API OX_RESULT OX_CALL oxcmdCmdEntGetCmdEntryName(const cmdEntry* record, const char** text);
OX_API OX_RESULT OX_CALL oxcmdCmdEntSetCmdEntryName(cmdEntry* record, const char* text);
/* command to run */
OX_API OX_RESULT OX_CALL oxcmdCmdEntGetCmdName(const cmdEntry* record, const char** text);
OX_API OX_RESULT OX_CALL oxcmdCmdEntSetCmdName(cmdEntry* record, const char* text);
OX_API OX_RESULT OX_CALL oxcmdCmdEntGetArgument(const cmdEntry* record, const char** text);
OX_API OX_RESULT OX_CALL oxcmdCmdEntSetArgument(cmdEntry* record, const char* text);
/* the caller's, as are AttributeChange and Process: never sent */
OX_API OX_RESULT OX_CALL oxcmdCmdEntGetNextStartTime(const cmdEntry* record, uint32_t* value);
OX_API OX_RESULT OX_CALL oxcmdCmdEntSetNextStartTime(cmdEntry* record, uint32_t value);
OX_API OX_RESULT OX_CALL oxcmdCmdEntGetStartTime(const cmdEntry* record, uint32_t* value);
OX_API OX_RESULT OX_CALL oxcmdCmdEntSetStartTime(cmdEntry* record, uint32_t value);
OX_API OX_RESULT OX_CALL oxcmdCmdEntGetInterval(const cmdEntry* record, uint32_t* value);
OX_API OX_RESULT OX_CALL oxcmdCmdEntSetInterval(cmdEntry* record, uint32_t value);
OX_API OX_RESULT OX_CALL oxcmdCmdEntGetAdminStatus(const cmdEntry* record, uint32_t* value);
OX_API OX_RESULT OX_CALL oxcmdCmdEntSetAdminStatus(cmdEntry* record, uint32_t value);
OX_API OX_RESULT OX_CALL oxcmdCmdEntGetOperStatus(const cmdEntry* record, uint32_t* value);
OX_API OX_RESULT OX_CALL oxcmdCmdEntSetOperStatus(cmdEntry* record, uint32_t value);
OX_API OX_RESULT OX_CALL oxcmdCmdEntGetAttributeChange(const cmdEntry* record, uint32_t* value);
OX_API OX_RESULT OX_CALL oxcmdCmdEntSetAttributeChange(cmdEntry* record, uint32_t value);
OX_API OX_RESULT OX_CALL oxcmdCmdEntGetID(const cmdEntry* record, uint32_t* value);
OX_API OX_RESULT OX_CALL oxcmdCmdEntSetID(cmdEntry* record, uint32_t value);
OX_API OX_RESULT OX_CALL oxcmdCmdEntGetProcess(const cmdEntry* record, uint32_t* value);
OX_API OX_RESULT OX_CALL oxcmdCmdEntSetProcess(cmdEntry* record, uint32_t value);
OX_API OX_RESULT OX_CALL oxcmdCmdEntGetMode(const cmdEntry* record, uint32_t* value);
OX_API OX_RESULT OX_CALL oxcmdCmdEntSetMode(cmdEntry* record, uint32_t value);
OX_API OX_RESULT OX_CALL oxcmdCmdEntGetOwner(const cmdEntry* record, const char** text);
OX_API OX_RESULT OX_CALL oxcmdCmdEntSetOwner(cmdEntry* record, const char* text);
OX_API OX_RESULT OX_CALL oxcmdCmdEntGetSchedule(const cmdEntry* record, const char** text);
OX_API OX_RESULT OX_CALL oxcmdCmdEntSetSchedule(cmdEntry* record, const char* text);
OX_API OX_RESULT OX_CALL oxcmdCmdEntGetInvalidCmdName(const cmdEntry* record, const char** text);
OX_API OX_RESULT OX_CALL oxcmdCmdEntSetInvalidCmdName(cmdEntry* record, const char* text);
OX_API OX_RESULT OX_CALL oxcmdCmdEntGetInvalidCmdArg(const cmdEntry* record, const char** text);
OX_API OX_RESULT OX_CALL oxcmdCmdEntSetInvalidCmdArg(cmdEntry* record, const char* text);

/* Sets all fields at once. 0; 3, with the record as it was; 1 for a null record. */
OX_API OX_RESULT OX_CALL oxcmdCmdEntSetAllValues(cmdEntry* record, uint32_t error, const char* entryName,
                                                 const char* cmdName, const char* argument, uint32_t nextStartTime,
                                                 uint32_t startTime, uint32_t interval, uint32_t adminStatus,
                                                 uint32_t operStatus, uint32_t attributeChange, uint32_t id,
                                                 uint32_t process, uint32_t mode, const char* owner,
                                                 const char* schedule, const char* invalidCmdName,
                                                 const char* invalidCmdArg);

/*
 * Reads an entry into a new record, which the caller releases with oxcmdEntryFree.
 * Returns 0; 84 when there is none; 195 for a null name or record; 59 for a name of 64 characters or more; 1 for an
 * answer without attribute names; 3.
 */
OX_API OX_RESULT OX_CALL oxcmdEntryOpen(const char* manager, const char* name, cmdEntry** record);

/*
 * The names of all entries, in the manager's order, to open one after the other. The caller releases the list with
 * oxcmdEntryListClose. Returns 0; without an entry 0, and *list is null; 195 for a null list; 3.
 */
typedef struct cmdEntryList cmdEntryList;
OX_API OX_RESULT OX_CALL oxcmdEntryListOpen(const char* manager, cmdEntryList** list);

/*
 * Opens the list's next entry as oxcmdEntryOpen does. Behind the last one, and for a null list, *record is null. An
 * entry that fails is tried again by the next call. Returns 0; the codes of oxcmdEntryOpen; 195 for a null record.
 */
OX_API OX_RESULT OX_CALL oxcmdEntryNextOpen(cmdEntryList* list, cmdEntry** record);
OX_API OX_RESULT OX_CALL oxcmdEntryListClose(cmdEntryList* list); /* 0, also for null */

/*
 * Makes an entry and writes its attributes. adminStatus is 0 or 1. The manager makes its name, handed out in a buffer
 * of the process until anything else is made there. What cannot be completed is deleted again.
 * Returns 0; 1 for a null text or name output and for another adminStatus, with nothing sent; 3.
 */
OX_API OX_RESULT OX_CALL oxcmdCreateCmdEntry(const char* manager, const char* owner, const char* command,
                                             const char* argument, uint32_t startTime, uint32_t interval, uint32_t mode,
                                             uint32_t adminStatus, const char** name);

/*
 * Makes an entry from a record: of the record's CmdEntryName, where it has one, and with what oxcmdSet writes. *made
 * is a copy of the record that has the entry's name, to be released with oxcmdEntryFree. What cannot be completed is
 * deleted again. Returns 0; 207 when there is an entry of that name; 1 for a null argument; 3.
 */
OX_API OX_RESULT OX_CALL oxcmdCreateNewCmdEntry(const char* manager, const cmdEntry* record, cmdEntry** made);

/* Returns 0; 84 when there is none; 1 for a null name. */
OX_API OX_RESULT OX_CALL oxcmdDeleteCmdEntry(const char* manager, const char* name);

/*
 * Write attributes of an entry in one request: the eight main ones (ID is sent as 0, which keeps it), or one. A null
 * text is the empty one. Return 0; 1 for a null name; 59 for an empty one; 3.
 */
OX_API OX_RESULT OX_CALL oxcmdSetAllData(const char* manager, const char* name, const char* owner, const char* command,
                                         const char* argument, uint32_t startTime, uint32_t interval, uint32_t mode,
                                         uint32_t adminStatus);
OX_API OX_RESULT OX_CALL oxcmdSetCmdName(const char* manager, const char* name, const char* text);
OX_API OX_RESULT OX_CALL oxcmdSetArgument(const char* manager, const char* name, const char* text);
OX_API OX_RESULT OX_CALL oxcmdSetStartTime(const char* manager, const char* name, uint32_t value);
OX_API OX_RESULT OX_CALL oxcmdSetInterval(const char* manager, const char* name, uint32_t value);
OX_API OX_RESULT OX_CALL oxcmdSetAdminStatus(const char* manager, const char* name, uint32_t value);
OX_API OX_RESULT OX_CALL oxcmdSetOperStatus(const char* manager, const char* name, uint32_t value);
OX_API OX_RESULT OX_CALL oxcmdSetID(const char* manager, const char* name, uint32_t value);
OX_API OX_RESULT OX_CALL oxcmdSetMode(const char* manager, const char* name, uint32_t value);
OX_API OX_RESULT OX_CALL oxcmdSetOwner(const char* manager, const char* name, const char* text);
OX_API OX_RESULT OX_CALL oxcmdSetSchedule(const char* manager, const char* name, const char* text);
OX_API OX_RESULT OX_CALL oxcmdSetInvalidCmdName(const char* manager, const char* name, const char* text);
OX_API OX_RESULT OX_CALL oxcmdSetInvalidCmdArg(const char* manager, const char* name, const char* text);

/*
 * Create, delete, write every record of a list. oxcmdCreate makes entries of CmdName, Argument, StartTime, Interval,
 * AdminStatus, Mode (0: 2) and Owner, and does not look at names; oxcmdSet writes Owner, CmdName, Argument, StartTime,
 * Interval, Mode, ID, AdminStatus, Schedule, InvalidCmdName, InvalidCmdArg, texts where there are any. Each record's
 * Error receives its result. *results, if wanted, receives copies of the records with their results and with the names
 * of the entries made, to be released with oxcmdEntryFree.
 * Return 0; 121 when a record failed, with *results; 3, without *results when nothing was sent; 1 for a null list.
 */
OX_API OX_RESULT OX_CALL oxcmdCreate(const char* manager, cmdEntry* list, cmdEntry** results);
OX_API OX_RESULT OX_CALL oxcmdDelete(const char* manager, cmdEntry* list, cmdEntry** results);
OX_API OX_RESULT OX_CALL oxcmdSet(const char* manager, cmdEntry* list, cmdEntry** results);

#ifdef __cplusplus
}
#endif

#endif
