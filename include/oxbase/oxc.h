/*
 * Common runtime: tracked memory, queue lists, debug trace, error texts, installation settings, programs, text
 * conversions, time zones, tokens and patterns; with oxcfile.h, file checks, the shared reader of definition files,
 * name files, trap definitions.
 */
#ifndef OXBASE_OXC_H
#define OXBASE_OXC_H

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

/*
 * The installation's code page: 65001 (UTF-8) or 932 (Shift_JIS), from the value "CodePage"; where that is absent, the
 * ANSI code page on Windows, 65001 on Linux. All texts are in it: those that the library is given, that it steps
 * through, compares and stores, and that it hands out.
 */
OX_API uint32_t OX_CALL oxcGetCodePage(void);

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
 * Sends one ICMP echo request (RFC 792) to an IPv4 address, "192.0.2.1", and waits for the answer, `timeout`
 * milliseconds at most. *roundTrip is how long it took, in microseconds (Windows counts whole milliseconds). Returns 0;
 * 158 when nobody answers; 5 where the system does not let this process ask (on Linux its group must be in
 * net.ipv4.ping_group_range); 70 for what is no IPv4 address, 195 for none; 1 for a null pointer or a timeout of 0.
 */
OX_API OX_RESULT OX_CALL oxcIcmpEcho(const char* address, uint32_t timeout, uint32_t* roundTrip);

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

#ifdef __cplusplus
}
#endif

#include <oxbase/oxcfile.h>

#endif
