/* Files of the common runtime: checks, the shared reader of definition files, name files, trap definitions. */
#ifndef OXBASE_OXCFILE_H
#define OXBASE_OXCFILE_H

#include <stdio.h>

#include <oxbase/oxtypes.h>

#ifdef __cplusplus
extern "C" {
#endif

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
