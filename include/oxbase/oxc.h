/*
 * Common runtime: tracked memory, queue lists, debug trace, error texts, installation settings, text conversions,
 * tokens and patterns, file checks, the shared reader of definition files, trap definitions.
 */
#ifndef OXBASE_OXC_H
#define OXBASE_OXC_H

#include <stdio.h>

#include <oxbase/oxtypes.h>

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Tracked memory -------------------------------------------------------------------------------------------
 * The counters and the live list take no lock: a process that switches tracking on allocates from one thread.
 * A tag names the allocation site; the text is not copied and must live as long as the block (use a literal).
 */

/* Allocate `size` bytes, undefined or zero-filled. Null when memory runs out, or when size + 4 overflows. */
OX_API void* OX_CALL oxcMemAlloc(uint32_t size, const char* tag);
OX_API void* OX_CALL oxcMemZalloc(uint32_t size, const char* tag);

/*
 * Gives a block room for newSize bytes and returns the block to use from then on; a null block is allocated anew.
 * A block never shrinks and never moves to shrink. Null when a larger block cannot be had; the old one stays valid.
 */
OX_API void* OX_CALL oxcMemRealloc(void* block, uint32_t newSize, const char* tag);

/* Release a block; null is accepted. Both return 0. */
OX_API OX_RESULT OX_CALL oxcMemFree(void* block);
OX_API OX_RESULT OX_CALL oxcFree(void* block);

/* Switches tracking (0 off, else on) and returns the flag. Call it before the first allocation. */
OX_API uint32_t OX_CALL oxcSetMemDebug(uint32_t flag);

/*
 * Counter by index: 1 live blocks, 2 allocation serial, 3 tracked bytes, 4 peak of tracked bytes, 5 tracking flag;
 * 0 for any other index.
 */
OX_API uint32_t OX_CALL oxcGetMemValue(uint32_t index);

/*
 * Writes the list of live tracked blocks, in allocation order, to a file; null for a name made of the work
 * directory, the process id and the time. A file that cannot be opened is passed over. Returns 0.
 */
OX_API OX_RESULT OX_CALL oxcMemDebugListOut(const char* fileName);

/* Writes a hex dump, 16 bytes a line, to the process's console (allocated when there is none). */
OX_API OX_RESULT OX_CALL oxcMemDump(const void* data, uint32_t length);

/* Write the same lines to the debug trace under mask bit 0x400, 0x10000, 0x20000, 0x40000 or 0x80000. Return 0. */
OX_API OX_RESULT OX_CALL oxcMemDumpLog(const void* data, uint32_t length);
OX_API OX_RESULT OX_CALL oxcMemDumpLogForSNMP(const void* data, uint32_t length);
OX_API OX_RESULT OX_CALL oxcMemDumpLogForSNMPTrap(const void* data, uint32_t length);
OX_API OX_RESULT OX_CALL oxcMemDumpLogForICMP(const void* data, uint32_t length);
OX_API OX_RESULT OX_CALL oxcMemDumpLogForRMGR(const void* data, uint32_t length);

/* ---- Queue lists ----------------------------------------------------------------------------------------------
 * `head` is the address of the caller's head pointer (struct x **), `node` a record whose first fields are the links.
 * The forms with suffix 2 use link pair k: the pointer-sized words at positions 2k (next) and 2k + 1 (prev).
 * All return 0 unless said otherwise. No locks.
 */
OX_API OX_RESULT OX_CALL oxcQueueAdd(void* head, void* node);
OX_API OX_RESULT OX_CALL oxcQueueAdd2(void* head, void* node, uint32_t k);

/* Inserts node directly after `after`; `first` is the list's first node itself. */
OX_API OX_RESULT OX_CALL oxcQueueIns(void* first, void* after, void* node);

/* Unlink a node that is on the list and clear both its links. */
OX_API OX_RESULT OX_CALL oxcQueueDel(void* head, void* node);
OX_API OX_RESULT OX_CALL oxcQueueDel2(void* head, void* node, uint32_t k);

/* Append a second list, given by its first node; it may be a chain built through next only. */
OX_API OX_RESULT OX_CALL oxcQueueLink(void* head, void* list);
OX_API OX_RESULT OX_CALL oxcQueueLink2(void* head, void* list, uint32_t k);

/* Cut the list before node, which becomes the first node of a list of its own. */
OX_API OX_RESULT OX_CALL oxcQueueSplit(void* head, void* node);
OX_API OX_RESULT OX_CALL oxcQueueSplit2(void* head, void* node, uint32_t k);

/*
 * Sorts the list, not stably. compare receives pointers to two node pointers, as qsort's does.
 * Returns 0, or 3 when memory runs out, with the list as it was.
 */
OX_API OX_RESULT OX_CALL oxcQueueSort(void* head, int(OX_CALL* compare)(const void*, const void*));

/* Unlinks every node from the first onward and passes each to freeFn. */
OX_API OX_RESULT OX_CALL oxcQueueFree(void* first, OX_RESULT(OX_CALL* freeFn)(void* node));

/* ---- Debug trace ----------------------------------------------------------------------------------------------
 * What is traced is chosen by a bit mask in a small shared block per process, so that another process can switch it.
 */

/* The process's trace mask; 0 when the control block could not be made. */
OX_API uint32_t OX_CALL oxcGetDebugMask(void);
OX_API OX_RESULT OX_CALL oxcSetDebugMask(uint32_t mask);

/*
 * Writes one trace text to the console and the trace file, as the flags say; a text over 4095 characters is cut.
 * Returns 0, also when the mask is 0; 142 when the trace file cannot be opened; the console's error.
 */
OX_API OX_RESULT OX_CALL oxcDebugOut(const char* format, ...) OX_PRINTF(1, 2);

/*
 * Switches console output, and starts the trace file under a new name, to which the rotation index is added; a null
 * name closes the file. Returns 0, 152 for a name of 257 characters or more, 142 when the file cannot be opened.
 */
OX_API OX_RESULT OX_CALL oxcDebugOutput(uint32_t console, const char* fileName);

/* The registry value "oxdebugopt" in a new block that the caller releases with oxcMemFree; null when not set. */
OX_API char* OX_CALL oxcGetDebugOpt(void);

/* The trace settings of a process. */
typedef struct oxcDebugControl {
  uint32_t mask;
  uint32_t console; /* 1: lines go to the process's console */
  uint32_t file;    /* 1: lines go to the process's trace file */
} oxcDebugControl;

/*
 * Lists the processes that carry a trace control block: up to `capacity` ids, the number of all in *count.
 * Returns 0, or 3.
 */
OX_API OX_RESULT OX_CALL oxcDebugProcesses(uint32_t* ids, uint32_t capacity, uint32_t* count);

/* Read and write the trace settings of another process. Return 0; 193 when it carries no control block; 5. */
OX_API OX_RESULT OX_CALL oxcDebugGetControl(uint32_t processId, oxcDebugControl* control);
OX_API OX_RESULT OX_CALL oxcDebugSetControl(uint32_t processId, const oxcDebugControl* control);

/* ---- Error codes and texts ----------------------------------------------------------------------------------- */

/*
 * Loads the message file, or attaches the copy that another process loaded. Called by the others on first use.
 * Returns 0; 189 when the file or the home directory is missing, 138, 78 or the mapped platform error when it cannot be
 * used; 3. Until a later call succeeds, the texts of all codes but 5 tell why.
 */
OX_API OX_RESULT OX_CALL oxcInitErrmsg(void);

/*
 * The text of a result code; "Message Not Found" for an unknown one. That of 259 ends with the number that the thread's
 * last failure had on the platform, "[ErrorCode=87]". Never null. Each thread has one buffer, which stays where it is:
 * an earlier result shows the newest text. A text of more than 4095 bytes is cut between two characters.
 */
OX_API const char* OX_CALL oxcStrError(OX_RESULT code);

/*
 * "prefix: text", the text alone for a null prefix, the empty text for code 0. The buffer grows to fit: an earlier
 * result of the thread is gone. Null only when memory runs out.
 */
OX_API const char* OX_CALL oxcErrmsg(const char* prefix, OX_RESULT code);

/*
 * Writes the same and a line end to the standard error stream, the text in the encoding of the process; nothing for
 * code 0. Returns 0, or 3.
 */
OX_API OX_RESULT OX_CALL oxcPerror(const char* prefix, OX_RESULT code);

/*
 * Show the text of a code, the second with a prefix, in a message box titled with the program's name; in a process
 * that runs as a service, write it to the system event log instead, as an error under the source of the program
 * ("oxbase": TesBaseService, "oxexpd": TesExpertService, "oxlogd": TesLoggingService, else its name). Nothing for
 * code 0. Return 0, or 3.
 */
OX_API OX_RESULT OX_CALL oxcPerrorMsgBox(const char* programName, OX_RESULT code);
OX_API OX_RESULT OX_CALL oxcPerrorMsgBox2(const char* programName, const char* prefix, OX_RESULT code);

/*
 * The result code of the platform's last error number, of the C runtime's errno; 259 and 261 for numbers without a code
 * of their own. The platform's number is kept for the text of 259.
 */
OX_API OX_RESULT OX_CALL oxcGetWinError(void);
OX_API OX_RESULT OX_CALL oxcGetCRunError(void);

/*
 * Writes a text to the system event log: type 1 error, 2 warning, 4 information.
 * Returns 0; 1 for a null text or another type; the mapped platform error.
 */
OX_API OX_RESULT OX_CALL oxcSystemLog(const char* source, uint32_t type, const char* text);

/*
 * The folder that stands for the system that this process works in: OXBASE_SYSTEM, or what stands for it where that is
 * not set (docs/linux.md); on Windows empty then. The text stays valid, and is empty when memory runs out.
 */
OX_API const char* OX_CALL oxcGetSystemRoot(void);

/* ---- Installation settings ------------------------------------------------------------------------------------
 * Texts are read once per process from the registry key "SOFTWARE\CORVID\OXBASE"; empty while the value is absent.
 */
OX_API const char* OX_CALL oxcGetHomedir(void);
OX_API const char* OX_CALL oxcGetWorkdir(void);
OX_API const char* OX_CALL oxcGetLocale(void);
OX_API const char* OX_CALL oxcGetTimeZone(void);
OX_API const char* OX_CALL oxcGetOxbaseVersion(void);
OX_API const char* OX_CALL oxcGetLocalGroup(void);

/* Compares two version texts ("2.10.1") number by number: negative, 0 or positive. Null counts as empty. */
OX_API int32_t OX_CALL oxcVersionCmp(const char* a, const char* b);

OX_API uint32_t OX_CALL oxcGetKeepAliveFlag(void); /* 1 when "KeepAliveFlag" is "on" */
OX_API uint32_t OX_CALL oxcIsNetWareUsed(void);    /* 1 unless "UseNetWare" is present and not "True" */

/* The product brand; 64312 when the value is absent. Returns 0, 1 for a null argument, or a platform error number. */
OX_API OX_RESULT OX_CALL oxcGetBrandingID(uint32_t* id);

/* 0 when IPv6 may be used; 6 when it is switched off, 406 when the machine has no IPv6 protocol. */
OX_API OX_RESULT OX_CALL oxcIsV6Ready(void);

OX_API uint32_t OX_CALL oxcGetEnvLang(void);    /* 1 Japanese, 2 other */
OX_API uint32_t OX_CALL oxcGetEnvProduct(void); /* 2 Japanese, 3 other */
OX_API uint32_t OX_CALL oxcGetEnvOs(void);      /* 1 */

OX_API const char* OX_CALL oxcGetMyHostName(void); /* the computer name, empty when not found */
OX_API const char* OX_CALL oxcGetMyComm(void);     /* the name under which this manager is known to others */
OX_API uint32_t OX_CALL oxcGetPortNumber(void);    /* the daemon's port, 8806 unless "SockPort" says otherwise */

/*
 * Whether a service runs: index 0 "Oxbase", 1 "Oxlogd", 2 "Oxexpd", 3 "Oxcmd", 4 "Oxrmapd", 5 "Oxexrld".
 * Returns 0 and the flag; 6 for another index; 1 for a null argument; the mapped platform error.
 */
OX_API OX_RESULT OX_CALL oxcIsServiceRunning(uint32_t index, uint32_t* running);
OX_API uint32_t OX_CALL oxcIsOxlogdRunning(void);
OX_API uint32_t OX_CALL oxcIsOxexpdRunning(void);
OX_API uint32_t OX_CALL oxcIsOxcmdRunning(void);
OX_API uint32_t OX_CALL oxcIsOxrmapdRunning(void);
OX_API uint32_t OX_CALL oxcIsOxruledRunning(void);

/* ---- Programs ---------------------------------------------------------------------------------------------------
 * A program that was started, and its end. One thread at a time uses such an object.
 */
typedef struct oxcProcess oxcProcess; /* opaque */

enum { OXC_NORMAL_PRIORITY = 32 };

/*
 * Starts a program without a shell and without waiting for it; it runs on when this process ends. It has no input.
 *
 * program      its path, or a name alone: beside the library or this program, then where the system looks. Null: the
 *              first word of the command line. On Linux "x.exe" is also the program "x".
 * commandLine  the program, and its arguments. Windows programs get it as it is; on Linux they get the words of it, as
 *              oxcToken takes them apart. May be null beside a program.
 * flags        0 or OXC_NORMAL_PRIORITY, which are the same
 * outputFile   to whose end its output and errors go; null: where those of this process go
 * process      receives the object; the caller releases it with oxcFreeProcess
 *
 * Returns 0; 189 when there is no such program; the mapped platform error, which oxcGetWinError gives, too; 3; 1 for
 * no program, a null process, other flags.
 */
OX_API OX_RESULT OX_CALL oxcCreateProcess(const char* program, const char* commandLine, uint32_t flags,
                                          const char* outputFile, oxcProcess** process);

/*
 * Waits until the program is ready: on Windows until its windows wait for input, at once without windows; on Linux it
 * is when it has been started. 4294967295 ms: without limit. Returns 0; 259 at the end of the time; 1 for null.
 */
OX_API OX_RESULT OX_CALL oxcWaitForInputIdle(oxcProcess* process, uint32_t milliseconds);

/* Whether it has ended, and its exit status, 128 + signal on Linux where one ended it; status may be null, and is left
 * while it runs. Returns 0; 1 for another null argument. */
OX_API OX_RESULT OX_CALL oxcProcessEnded(oxcProcess* process, uint32_t* ended, int32_t* status);

/* Kills it with what it has started. Returns 0, also when it has ended; 1 for null. */
OX_API OX_RESULT OX_CALL oxcEndProcess(oxcProcess* process);

OX_API uint32_t OX_CALL oxcProcessId(const oxcProcess* process); /* the system's number while it runs, else 0 */

/* Lets go of it: a program that runs, runs on, but nobody learns of its end. 0, also for null. */
OX_API OX_RESULT OX_CALL oxcFreeProcess(oxcProcess* process);

OX_API uint32_t OX_CALL oxcIsOxbaseInstalled(void);
OX_API uint32_t OX_CALL oxcIsOxwatchInstalled(void);
OX_API uint32_t OX_CALL oxcCheck64BitWindows(void);

/*
 * Whether the user may use the system: 0, also without a configured group ("LocalGroup"); 5 for a user outside the
 * group; the mapped platform error, with a line in the system event log, when the group cannot be looked up. The level
 * is not used: one group grants all of them.
 */
OX_API OX_RESULT OX_CALL oxcCheckUser(uint32_t level);

/*
 * Translate a path between its stored form ("$homedir/..." or "$workdir/...") and its full form. conf_file makes the
 * full form, deconf_file the stored one, by the longer of the two directories that it lies under. Other paths are
 * returned as they are. Null for a null path or one of 1024 characters or more.
 */
OX_API const char* OX_CALL conf_file(const char* path);
OX_API const char* OX_CALL deconf_file(const char* path);

/* ---- Texts and numbers ----------------------------------------------------------------------------------------- */

/* Copy and append into a buffer of `size` bytes. Return 0, also for a null text or buffer, which does nothing;
 * 152 when the result would not fit, with the buffer as it was. */
OX_API OX_RESULT OX_CALL oxcStrcpy(char* target, const char* source, uint32_t size);
OX_API OX_RESULT OX_CALL oxcStrcat(char* target, const char* source, uint32_t size);

/* A keyword table is an array of these, ended by a null or empty text. */
typedef struct oxcKeyword {
  const char* text;
  uint32_t value;
} oxcKeyword;

/* Look up the first equal text, the first equal number. Return 0, or 183. */
OX_API OX_RESULT OX_CALL oxcStrToValue(const oxcKeyword* table, const char* text, uint32_t* value);
OX_API OX_RESULT OX_CALL oxcValueToStr(const oxcKeyword* table, uint32_t value, const char** text);

/*
 * Read a number in base 2 to 36, or in base 0: decimal, "0x" hexadecimal, leading "0" octal. No blanks. A signed
 * number may have a sign; an unsigned one has none and may end in "U" or "u".
 * Return 0; 70 for a malformed text; 88 for a number out of range; 1 for a null argument.
 */
OX_API OX_RESULT OX_CALL oxcStrToLong(const char* text, uint32_t base, int32_t* value);
OX_API OX_RESULT OX_CALL oxcStrToUlong(const char* text, uint32_t base, uint32_t* value);
OX_API OX_RESULT OX_CALL oxcStrToUlonglong(const char* text, uint32_t base, uint64_t* value);
OX_API const char* OX_CALL oxcLongToStr(int32_t value);
OX_API const char* OX_CALL oxcUlongToStr(uint32_t value);
OX_API const char* OX_CALL oxcUlonglongToStr(uint64_t value);

/* TimeTicks (RFC 2578, 7.1.8), hundredths of a second: "h:mm:ss.cc", "m:ss.cc" or "s.cc". Parsing gives 70, 88. */
OX_API const char* OX_CALL oxcTticksToStr(uint32_t ticks);
OX_API OX_RESULT OX_CALL oxcStrToTticks(const char* text, uint32_t* ticks);

/* Seconds since 1970 as local time, "2009/09/03.10:20:30"; null for a time that cannot be converted. */
OX_API const char* OX_CALL oxcUxTimeToStr(uint32_t seconds);

/*
 * Reads a local time: [[Y/]M/D][.h[:m[:s]]] or h:m[:s], missing date parts taken from now, or one of "past",
 * "present" (0) and "future" (2145916800). Returns 0; 70; 1 for a null argument.
 */
OX_API OX_RESULT OX_CALL oxcStrToUxTime(const char* text, uint32_t* seconds);

/* ---- Time zones -------------------------------------------------------------------------------------------------
 * A zone object is a table of its clocks' changes from 1970 to 2106: reading it takes no lock and allocates nothing,
 * and any number of threads may.
 */
typedef struct oxcZone oxcZone;

/* What the clocks show. */
typedef struct oxcDate {
  int32_t year;
  int32_t month; /* from 1 */
  int32_t day;   /* from 1 */
  int32_t hour;
  int32_t minute;
  int32_t second;
  int32_t weekday; /* 0 Sunday to 6 Saturday */
  int32_t offset;  /* seconds east of UTC */
} oxcDate;

/*
 * Makes a zone of a text as POSIX writes it in TZ, on every system alike ("JST-9", "EST5EDT,M3.2.0,M11.1.0",
 * "<+03>-3"); where the system keeps its zones in files, of a name too ("Europe/Berlin", also behind a ":"). A null or
 * empty text is the zone of the process's environment as it is now.
 * Returns 0 and the zone, which the caller releases with oxcZoneFree; 70 for a text that is neither; 3; 1 for a null
 * output.
 */
OX_API OX_RESULT OX_CALL oxcZoneOpen(const char* text, oxcZone** zone);
OX_API OX_RESULT OX_CALL oxcZoneFree(oxcZone* zone); /* 0, also for null */

/* The date of a moment. Returns 0; 1 for a null argument. */
OX_API OX_RESULT OX_CALL oxcZoneToDate(const oxcZone* zone, uint32_t seconds, oxcDate* date);

/*
 * The first moment at which the clocks show the date or a later one: of a time that comes twice in autumn the first, of
 * one that the spring change leaves out the moment of the change. Fields may be too small or too large and are carried
 * over (month 13, day 0); weekday and offset are not read.
 * Returns 0; 70 for a date before 1970 or after 2106; 1 for a null argument.
 */
OX_API OX_RESULT OX_CALL oxcZoneToSeconds(const oxcZone* zone, const oxcDate* date, uint32_t* seconds);

/* IPv4: the number holds the four bytes in network order, as they lie in memory. Parsing gives 70 or 1. */
OX_API const char* OX_CALL oxcIpAddrToStr(uint32_t address);
OX_API OX_RESULT OX_CALL oxcStrToIpAddr(const char* text, uint32_t* address);

/* IPX: 10 bytes (network 4, node 6) as "00000000.000000000000"; ":" is accepted as separator. */
OX_API const char* OX_CALL oxcIpxAddrToStr(const void* address);
OX_API OX_RESULT OX_CALL oxcStrToIpxAddr(const char* text, void* address);

/* IPv6: 16 bytes, text of RFC 5952 (an embedded IPv4 tail in dotted form). Parsing gives 70 or 1. */
OX_API const char* OX_CALL oxcIpv6AddrToStr(const void* address);
OX_API OX_RESULT OX_CALL oxcStrToIpv6Addr(const char* text, void* address);

/*
 * Splits a line in place into at most `maximum` tokens. Separators are the characters of `separators`, blank and tab
 * when it is null; runs of them count once. Single and double quotes may start and end inside a token and are
 * removed; a backslash quotes the next character, inside quotes too. Double-byte characters are never split.
 * Returns 0; 86 when there are more tokens, with the first `maximum` delivered; 68 when a quote stays open, with the
 * unfinished token delivered too; 1 for a null argument. *count is the number delivered.
 */
OX_API OX_RESULT OX_CALL oxcToken(char* line, const char* separators, char** tokens, uint32_t maximum, uint32_t* count);

/*
 * 1 when the whole text matches the pattern, else 0; also 0 for a null argument. "*" stands for any run of
 * characters, "?" for one; a double-byte character is one character; case counts. Time at most text times pattern.
 */
OX_API uint32_t OX_CALL oxcRegMatch(const char* pattern, const char* text);
OX_API uint32_t OX_CALL oxcRegMatch2(const char* pattern, const char* text);

/* ---- Files ----------------------------------------------------------------------------------------------------- */

/*
 * Checks that a path is a file (mode 1), a directory (2), or has the extension of a program (4); with 16 added, that
 * it is not read-only as well. Returns 0; 138, 139, 140 and 5013 as the check fails; 5002 when there is no such
 * path; 1 for another mode or a null path; the mapped platform error.
 */
OX_API OX_RESULT OX_CALL oxcCheckFile(const char* path, uint32_t mode);

/* fopen that denies the file to others, tried up to 5 times, 1 second apart. Null when it cannot be had. */
OX_API FILE* OX_CALL oxcCFileOpen(const char* path, const char* mode);

/*
 * The platform's file open, with write sharing added, tried up to 5 times, 1 second apart. Arguments have the
 * meaning and the numbers of CreateFileA on every platform; security and template may be null.
 * Returns a file descriptor or handle, -1 on failure (oxcGetWinError tells why).
 */
OX_API intptr_t OX_CALL oxcWFileOpen(const char* path, uint32_t access, uint32_t share, void* security,
                                     uint32_t disposition, uint32_t flags, void* templateFile);

/* One entry of a definition file: a keyword and its values, each value a block released with oxcMemFree. */
typedef struct oxcConfigEntry {
  char keyword[4096];
  uint32_t count;
  char* values[1024];
} oxcConfigEntry;

/*
 * Opens a definition file for the thread's reader, in place of the one it had; with null, goes back to the start.
 * Returns 0; 142 when it cannot be opened; 195 for null without an open file; 5000 + errno of a failed seek.
 */
OX_API OX_RESULT OX_CALL oxcSetConfigEntry(const char* path);

/*
 * Reads the next entry, with a filter the next one of that keyword, into the caller's record. The two reserved
 * arguments are not used. The caller releases the values.
 * Returns 0; 122 at the end; 1 without an open file; 4 for a line without ":"; 76 for a keyword over 4095
 * characters; 86 for over 1024 values; 68 for an open quote; 3. After a failure the record has no values.
 */
OX_API OX_RESULT OX_CALL oxcGetConfigEntry(void* reserved1, const char* filter, void* reserved2, oxcConfigEntry* entry);

/* Number of the last line that the thread's reader consumed, from 1. */
OX_API uint32_t OX_CALL oxcGetConflineno(void);

/* Closes the thread's reader. Returns 0. */
OX_API OX_RESULT OX_CALL oxcEndConfigEntry(void);

/* ---- Name file directories --------------------------------------------------------------------------------------
 * Objects with free-form names, each stored in a file of a name that every file system takes: "N" and seven hexadecimal
 * digits. The index "filename.dir" of the directory knows which is whose (docs/files.md). Every change is on the disk
 * when its function returns, and processes that share a directory lose none of each other's; a thread sees those of
 * others after its own next change, or when it opens the directory anew.
 *
 * A slot belongs to the thread that opened it. Names must hold no blank: one that does is written, and cannot be read
 * back. All return 0; 254 for a slot that is not open and for an unknown name; 1 for a null argument.
 */

/*
 * Opens a directory and reads its index, which is made where there is none. *slot is given as soon as there is one,
 * also where the index then cannot be read: the slot holds what stands before the fault until it is closed. Returns 78
 * for a name without a number, the errors of oxcStrToUlong for a number; the mapped platform error; 3; 1 for an empty
 * path.
 */
OX_API OX_RESULT OX_CALL oxcNameFileOpen(const char* directory, int32_t* slot);
OX_API OX_RESULT OX_CALL oxcNameFileClose(int32_t slot);
OX_API OX_RESULT OX_CALL oxcNameFileCloseAll(void); /* of the thread; 0 */

/*
 * Gives a name a number that no other has, and its file's path, "<directory>/N0000001": the file itself is the
 * caller's to make. A name may be there already; the first one of it is then the one that is found.
 * Returns 254 also when all numbers are used; 78, the mapped platform error, 3, with nothing changed; 1 for an empty
 * name.
 */
OX_API OX_RESULT OX_CALL oxcCreateName(int32_t slot, const char* name, const char** path);

/* The path of a name's file, and the name of a file, given without its directory. */
OX_API OX_RESULT OX_CALL oxcName2File(int32_t slot, const char* name, const char** path);
OX_API OX_RESULT OX_CALL oxcFile2Name(int32_t slot, const char* file, const char** name);

/* Take a name out, give it another; number and file stay. The errors are those of oxcCreateName. */
OX_API OX_RESULT OX_CALL oxcNameDelete(int32_t slot, const char* name);
OX_API OX_RESULT OX_CALL oxcNameFileRename(int32_t slot, const char* name, const char* newName);

/* A name of a list, a block of its own. */
typedef struct oxcNameItem {
  struct oxcNameItem* next;
  struct oxcNameItem* prev;
  char name[1]; /* and as many more as it has */
} oxcNameItem;

/*
 * Appends all names to the caller's Queue, which is released with oxcQueueFree(list, oxcMemFree). 3, with the list as
 * it was.
 */
OX_API OX_RESULT OX_CALL oxcNameFileGetOrgList(int32_t slot, oxcNameItem** list);

/*
 * Two directories below the work directory, "data/backgnd" of map files and "data/comp" of type files, each opened once
 * for a thread. The functions that return a text give null where those above fail; before Init nothing is known.
 */
OX_API OX_RESULT OX_CALL oxMapFileInit(void);
OX_API OX_RESULT OX_CALL oxCreateMapFile(const char* name, const char** path);
OX_API OX_RESULT OX_CALL oxDeleteMapFile(const char* name);
OX_API const char* OX_CALL oxMap2File(const char* name);
OX_API const char* OX_CALL oxFile2Map(const char* file);
OX_API OX_RESULT OX_CALL oxMapFileUninit(void);

OX_API OX_RESULT OX_CALL oxTypeFileInit(void);
OX_API OX_RESULT OX_CALL oxCreateTypeFile(const char* name, const char** path);
OX_API OX_RESULT OX_CALL oxDeleteTypeFile(const char* name);
OX_API const char* OX_CALL oxType2File(const char* name);
OX_API const char* OX_CALL oxFile2Type(const char* file);
OX_API OX_RESULT OX_CALL oxTypeFileUninit(void);

/* ---- Trap definitions -------------------------------------------------------------------------------------------
 * How the system reports a kind of trap: files in "public/trap" of the work directory (docs/files.md). A list is
 * built by one thread; then any number of them may search it.
 */

/* One definition. The texts are blocks of oxcMemAlloc that belong to the record; null for lines that a file has not. */
typedef struct oxcTrTag {
  struct oxcTrTag* next; /* in the list's order */
  struct oxcTrTag* prev;
  char* enterprise;      /* dotted text */
  uint32_t genericCode;  /* as in oxsSnmpTrap */
  uint32_t anyGeneric;   /* 1: for every generic number */
  uint32_t specificCode; /* as in oxsSnmpTrap */
  uint32_t anySpecific;  /* 1: for every specific number */
  uint32_t severity;     /* 1 to 4 */
  char* summary;
  char* detail;    /* may hold placeholders, see oxcTrReMakeDetail */
  char* deal;      /* what the operator should do */
  int32_t logging; /* 0: not into the event log; 1 without a line */
  char* action;
  char* alertType;
  char* kind;
  char* source;
  uint32_t eventId;
  char* timeStamp[2];   /* identifiers of the bindings that carry the time, both or neither */
  uint32_t userDefined; /* 1: from USER.DEF */
  char* file;           /* where the definition stands; null for one that was not read from a file */
  uint32_t line;        /* of its "Enterprise" */
} oxcTrTag;

/* A list of definitions with its index. Opaque. */
typedef struct oxcTrConf oxcTrConf;

/*
 * Read all definition files into a new list, which the caller releases with oxcTrFreeConf: USER.DEF first, OXBASE.DEF
 * last, the others by name between them. A file that cannot be opened is passed over. The second and the third then
 * write the reload flag as "False"; the third reads the directory "public/alblock" too.
 * Return 0, also without any file; 3; 152 for a work directory too long; 1 for a null argument.
 */
OX_API OX_RESULT OX_CALL oxcTrCreateList(oxcTrConf** list);
OX_API OX_RESULT OX_CALL oxcTrCreateList2(oxcTrConf** list);
OX_API OX_RESULT OX_CALL oxcTrCreateList3(oxcTrConf** list);

/* An empty list; null when memory runs out. Release it, and all its records, with oxcTrFreeConf, which returns 0. */
OX_API oxcTrConf* OX_CALL oxcTrAllocConf(void);
OX_API OX_RESULT OX_CALL oxcTrFreeConf(oxcTrConf* list);

/* Reads one file into a list. Returns 0; 142; 3, with some of its records in the list; 1 for a null argument. */
OX_API OX_RESULT OX_CALL oxcTrMakeConfList(oxcTrConf* list, const char* path);

/* An empty record; null when memory runs out. oxcTrFreeTag releases a record that is on no list; it returns 0. */
OX_API oxcTrTag* OX_CALL oxcTrAllocTag(void);
OX_API OX_RESULT OX_CALL oxcTrFreeTag(oxcTrTag* tag);

/*
 * Puts a record into a list, which takes it over: among those of its enterprise, exact numbers before one "any" mark
 * before two; then user-defined ones first; then behind those that are there. Enterprise and numbers must not change
 * any more. Returns 0; 3, with the record still the caller's; 1 for a null argument.
 */
OX_API OX_RESULT OX_CALL oxcTrAddConfList(oxcTrConf* list, oxcTrTag* tag);

/* The first record, whose next leads through the list; null for an empty list or a null argument. */
OX_API const oxcTrTag* OX_CALL oxcTrFirstTag(const oxcTrConf* list);

/*
 * Finds the first record of an enterprise whose numbers, or "any" marks, match. The index is asked, not the list.
 * Returns 0 and the list's own record; 122, also for a null or empty enterprise; 1 for another null argument.
 * oxcTrSearchTrap gives a generic trap (0 to 5) that its enterprise does not define the definition that it has under
 * 1.3.6.1.6.3.1.1.5. oxcTrSearchSeverity gives the severity of what oxcTrSearchTagConfList finds.
 */
OX_API OX_RESULT OX_CALL oxcTrSearchTagConfList(const oxcTrConf* list, const char* enterprise, uint32_t genericCode,
                                                uint32_t specificCode, const oxcTrTag** tag);
OX_API OX_RESULT OX_CALL oxcTrSearchTrap(const oxcTrConf* list, const char* enterprise, uint32_t genericCode,
                                         uint32_t specificCode, const oxcTrTag** tag);
OX_API OX_RESULT OX_CALL oxcTrSearchSeverity(const oxcTrConf* list, const char* enterprise, uint32_t genericCode,
                                             uint32_t specificCode, uint32_t* severity);

struct dnode;

/*
 * The detail text of one trap, in a new block that the caller releases with oxcMemFree: the record's, with the values
 * of the trap's bindings for the placeholders, in display form and parted by ", ":
 *   *%all*      the values               "3, down"
 *   *%allleaf*  with the attributes' names, as the AMIB tree knows them   "ifIndex.3=3, ifOperStatus.3=down"
 *   *%allnum*   with the identifiers     "1.3.6.1.2.1.2.2.1.1.3=3, ..."
 *   *%1*        the value of the first binding; nothing for a number that the trap has not
 * A record without detail gives the empty text. Returns 0; 3; 1 for a null record or output.
 */
OX_API OX_RESULT OX_CALL oxcTrReMakeDetail(const oxcTrTag* tag, struct dnode* bindings, char** detail);

/*
 * The reload flag, the registry value "TrapConfReloadFlag": Set writes "True", to ask the readers of the definitions to
 * read them anew; Get tells whether it is "True". Return 0; 1 for a null argument; the mapped platform error.
 */
OX_API OX_RESULT OX_CALL oxcTrSetReloadFlag(void);
OX_API OX_RESULT OX_CALL oxcTrGetReloadFlag(uint32_t* flag);

/*
 * Called for a fault of a definition file: a code for its kind and the word or key that it is about. A line at fault is
 * passed over by the readers above, as far as the fault goes: nothing else of the file is lost.
 */
typedef void(OX_CALL* oxcTrFault)(void* argument, const char* path, uint32_t line, OX_RESULT code, const char* subject);

/*
 * Reads a file for its faults alone: 77 an unknown key, 4 a line before the first "Enterprise", 68 an open quote, 70
 * and 88 numbers, 87 a line over 1021 characters, 125 an enterprise that is no identifier, 195 a definition without a
 * number or a severity. Returns 0, faults or none; 142; 3; 1 for a null argument.
 */
OX_API OX_RESULT OX_CALL oxcTrCheckFile(const char* path, oxcTrFault fault, void* argument);

#ifdef __cplusplus
}
#endif

#endif
