/*
 * Schedules: when a log entry collects, a command runs, a rule is in force.
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

#ifdef __cplusplus
}
#endif

#endif
