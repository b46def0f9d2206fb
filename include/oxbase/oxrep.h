/*
 * Reports: what a kind of report collects and shows, as its definition file says it, and the reports themselves, each
 * fed by one log entry.
 *
 * The manager keeps both as components, "repType:name" and "repEnt:name"; a record mirrors their attributes.
 * docs/files.md describes the definition files.
 */
#ifndef OXBASE_OXREP_H
#define OXBASE_OXREP_H

#include <oxbase/oxtypes.h>

#ifdef __cplusplus
extern "C" {
#endif

/*
 * Requests return the codes of oxa.h beside their own; `manager` is as there. Where a call takes a name, 195 is a null
 * one, 59 one of 64 characters or more. A failed call hands nothing out.
 */

/* ---- Report types ----------------------------------------------------------------------------------------------- */

typedef struct RepType RepType; /* opaque */

/* The values of a type: attribute 11.30.N. "..." in the comment: the keyword; several: numbered values, 11.30.N.1.M. */
enum {
  OXREP_TYPE_NAME = 0,         /* of the component; no attribute */
  OXREP_TYPE_VERSION = 1,      /* "version" */
  OXREP_TYPE_REPTYPE = 2,      /* "reptype" */
  OXREP_TYPE_COMPNAME = 3,     /* "compname": the component that is reported on */
  OXREP_TYPE_MIBNAME = 4,      /* "mibname", several: the collected attributes m1, m2 ... */
  OXREP_TYPE_INDEX = 5,        /* "index": the attribute that labels an instance */
  OXREP_TYPE_PARAMETER = 6,    /* "parameter", several: a name with its default */
  OXREP_TYPE_KEY = 7,          /* "key" */
  OXREP_TYPE_CSVDATA = 8,      /* "csvdata", several: columns */
  OXREP_TYPE_CALCDATA = 9,     /* "calcdata", several: NAME = expression */
  OXREP_TYPE_GRAPHDATA = 10,   /* "graphdata", several: title, unit, names */
  OXREP_TYPE_FORMFILE = 11,    /* "formfile": name of the page's file */
  OXREP_TYPE_HELPFILE = 12,    /* "helpfile" */
  OXREP_TYPE_HELPTOPIC = 13,   /* "helptopic": a number, as decimal text */
  OXREP_TYPE_DESCRIPTION = 14, /* "description" */
  OXREP_TYPE_PREFIX = 15       /* "prefix": of the names of the report's files */
};

/*
 * Reads a definition file into a new record, which the caller releases with oxrepFreeRepType. The thread's own
 * definition file is closed. The component's name is that of a file "host_trf.def", "hub_trf.def", "lan_trf.def" or
 * "wan_trf.def" without its extension, of any other file the value of "reptype".
 * Returns 0; 142; 4, 68, 76, 86 for a line of the wrong form, 86 also for the 1025th value of a keyword; 4 for a file
 * that names no type; 59 for a name of 64 characters or more; 3; 195 for a null argument. oxfGetErrorFile tells where
 * the error stands.
 */
OX_API OX_RESULT OX_CALL oxrepReadRepType(const char* path, RepType** type);

/* Reads a type from the manager. Returns 0; 84 when there is none; 195 for a null record; 3. */
OX_API OX_RESULT OX_CALL oxrepGetRepType(const char* manager, const char* name, RepType** type);
OX_API OX_RESULT OX_CALL oxrepFreeRepType(RepType* type); /* 0, also for null */

/* How many values there are of a number above; one of them, from 0, the record's own. 0 and null where there is none.
 */
OX_API uint32_t OX_CALL oxrepRepTypeCount(const RepType* type, uint32_t number);
OX_API const char* OX_CALL oxrepRepTypeValue(const RepType* type, uint32_t number, uint32_t at);

/* Makes the component of a type. Returns 0; 207 when it is there. */
OX_API OX_RESULT OX_CALL oxrepRepTypeCreate(const char* manager, const char* name);

/* Writes every value that the record has, one by one in the order of their numbers. The first error ends it. 195 for a
 * null record, 59 for one without a name; 3. */
OX_API OX_RESULT OX_CALL oxrepSetRepType(const char* manager, const RepType* type);

/* Writes one attribute ("11.30.1.0"); a null text is the empty one. 195 for a null path. */
OX_API OX_RESULT OX_CALL oxrepRepTypeConfSet(const char* manager, const char* name, const char* path, const char* text);

/*
 * At the local manager: registers the types of "public/reptype" in the work directory that are not registered yet, and
 * makes the command entry "_oxreport", which has LogToCsv make the pages every 600 seconds, where there is none. A type
 * that cannot be written is taken away again. A file that cannot be read does not keep the others from being
 * registered.
 * Returns 0; 152 when the files cannot be listed; the first error of oxrepReadRepType; 3.
 */
OX_API OX_RESULT OX_CALL oxrepInit(void);

/* ---- Reports ---------------------------------------------------------------------------------------------------- */

typedef struct RepEnt RepEnt; /* opaque */

/* The values of a report: attribute 11.31.N. */
enum {
  OXREP_ENTRY_NAME = 0,       /* of the component; no attribute */
  OXREP_ENTRY_TITLE = 1,      /* display title */
  OXREP_ENTRY_TYPE = 2,       /* name of its report type */
  OXREP_ENTRY_LOGENTRY = 3,   /* name of the log entry that feeds it */
  OXREP_ENTRY_PERIOD = 4,     /* period of one page: a number and a unit letter, as of log entries */
  OXREP_ENTRY_PARAMETERS = 5, /* several, 11.31.5.1.M: values of the type's parameters, in their order */
  OXREP_ENTRY_FOLDER = 6,     /* folder of the pages; a relative one lies in "data/report" of the work directory */
  OXREP_ENTRY_STATE = 7,      /* "1" started, "2" stopped */
  OXREP_ENTRY_LASTPAGE = 8    /* time of the last page */
};

OX_API RepEnt* OX_CALL oxrepAllocRepEnt(void); /* without values; null when memory runs out */
/* Reads a report from the manager. Returns 0; 84 when there is none; 195 for a null record; 3. */
OX_API OX_RESULT OX_CALL oxrepGetRepEnt(const char* manager, const char* name, RepEnt** report);
OX_API OX_RESULT OX_CALL oxrepFreeRepEnt(RepEnt* report); /* 0, also for null */

/* As oxrepRepTypeCount, oxrepRepTypeValue. Set: copies a text, null takes it away; parameters before it that are not
 * there yet become empty. 0; 1 for a null record, an unknown number, a second value of one, a 1025th parameter; 3. */
OX_API uint32_t OX_CALL oxrepRepEntCount(const RepEnt* report, uint32_t number);
OX_API const char* OX_CALL oxrepRepEntValue(const RepEnt* report, uint32_t number, uint32_t at);
OX_API OX_RESULT OX_CALL oxrepRepEntSetValue(RepEnt* report, uint32_t number, uint32_t at, const char* text);

/* Writes every value that the record has, one by one: 1, 2, 3, the parameters, 4, 6, 7, 8. The first error ends it. 195
 * for a null record, 59 for one without a name; 3. */
OX_API OX_RESULT OX_CALL oxrepSetRepEnt(const char* manager, const RepEnt* report);

/* Writes one attribute ("11.31.1.0"); a null text is the empty one. 195 for a null path. */
OX_API OX_RESULT OX_CALL oxrepRepEntConfSet(const char* manager, const char* name, const char* path, const char* text);

/*
 * Makes a report, stopped. period and folder may be null; the folder is called as the report then. The manager makes
 * its name, handed out in a buffer of the process until anything else is made there. What cannot be completed is
 * deleted again.
 * Returns 0; 195 for another null argument; 59 for a type or log entry of 64 characters or more; 3.
 */
OX_API OX_RESULT OX_CALL oxrepCreateRepEnt(const char* manager, const char* title, const char* type,
                                           const char* logEntry, const char* period, const char* const* parameters,
                                           uint32_t count, const char* folder, const char** name);

/*
 * Start and stop the log entry of a report, and write the report's state. Starting copies the sample page, too: when
 * that fails, the report is started, and the error is returned.
 * Return 0; 225 for a report without a log entry; the errors of oxlStartLogEntry, oxrepCopySample.
 */
OX_API OX_RESULT OX_CALL oxrepStartRepEnt(const char* manager, const char* name);
OX_API OX_RESULT OX_CALL oxrepStopRepEnt(const char* manager, const char* name);

/*
 * Copies "public/report/sample.htm" of the work directory into the report's folder, which it makes, under the name that
 * its type gives the page, "sample.htm" without one. A page of that name is replaced in one step.
 * Returns 0; 122 for a report without folder or type; 70 for a relative folder or a name that leads out of it; the
 * mapped platform error; 3.
 */
OX_API OX_RESULT OX_CALL oxrepCopySample(const char* manager, const char* name);

/* Deletes a report. Its log entry and its pages stay. Returns 0; 84 when there is none. */
OX_API OX_RESULT OX_CALL oxrepDeleteRepEnt(const char* manager, const char* name);

#ifdef __cplusplus
}
#endif

#endif
