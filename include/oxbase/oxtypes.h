/*
 * OXBASE: types, result codes and calling conventions shared by all families.
 *
 * Conventions that hold for every function, unless its comment says otherwise:
 *  - The result is an OX_RESULT, 0 for success. Functions that return a text or a pointer return null on failure.
 *  - A pointer argument that must not be null and is null gives a result code, never a crash.
 *  - Texts end in a zero byte. They are in the installation's code page (oxcGetCodePage).
 *  - A text that is returned, or handed out through a `const char **`, belongs to the library. Texts from a record
 *    live as long as the record's field; texts from a conversion live until the same conversion runs again on the
 *    same thread.
 *  - Memory that a caller has to release is released with the function that the comment names; plain blocks with
 *    oxcMemFree.
 *  - A failed call leaves records, lists and out-arguments as they were.
 *  - Functions may be called from any thread; one record or list is used by one thread at a time. The session
 *    (oxa) belongs to the thread that called oxaInit.
 */
#ifndef OXBASE_OXTYPES_H
#define OXBASE_OXTYPES_H

#include <stddef.h>
#include <stdint.h>

#if defined(_WIN32)
#define OX_CALL __cdecl
#define OX_API
#elif defined(__GNUC__)
#define OX_CALL
#define OX_API __attribute__((visibility("default")))
#else
#define OX_CALL
#define OX_API
#endif

#if defined(__MINGW32__)
#define OX_PRINTF(format_position, first_argument) __attribute__((format(gnu_printf, format_position, first_argument)))
#elif defined(__GNUC__)
#define OX_PRINTF(format_position, first_argument) __attribute__((format(printf, format_position, first_argument)))
#else
#define OX_PRINTF(format_position, first_argument)
#endif

#ifdef __cplusplus
extern "C" {
#endif

typedef uint32_t OX_RESULT;

/*
 * The links of a listed record: its first two pointer-sized fields.
 * A list is one head pointer. The last node's next is null; the head's prev is the last node.
 */
typedef struct Queue {
  struct Queue* next;
  struct Queue* prev;
} Queue;

/* Result codes. Their texts stand in OXERROR.MSG (oxcStrError). Codes from 5001 to 5034 are 5000 + errno. */
enum {
  OX_OK = 0,
  OX_EARG = 1,             /* bad argument or unknown handle */
  OX_ENOMEM = 3,           /* out of memory */
  OX_ESYNTAX = 4,          /* a line of a definition file has the wrong form */
  OX_EDENIED = 5,          /* no authorization */
  OX_EUNSUPPORTED = 6,     /* index out of range, or facility switched off */
  OX_ENOTSTARTED = 7,      /* the base services have not started */
  OX_ESHMCREATE = 12,      /* a shared block cannot be created */
  OX_ENOSLOT = 13,         /* no free directory slot in the tree */
  OX_ENOSESSION = 14,      /* no session with the manager; tree not attached */
  OX_EINIT = 15,           /* messages, base services or tree could not be attached */
  OX_ECLOSED = 17,         /* connection to the manager lost */
  OX_ETYPEEXISTS = 20,     /* type already present */
  OX_ERELATIONEXISTS = 21, /* relation type already present */
  OX_ENOCOMPTYPE = 25,     /* node without component type */
  OX_ENOCOMPNAME = 26,     /* node without component name */
  OX_ENOAMIBNAME = 27,     /* node without AMIB name */
  OX_ENOREQTIME = 28,      /* node without request time */
  OX_ENORSPTIME = 29,      /* node without response time */
  OX_ENODNODEID = 30,      /* node without identifier */
  OX_ENOERRCODE = 31,      /* node without error code */
  OX_ENOVALUE = 32,        /* node without value */
  OX_EINCOMPLETE = 56,     /* empty or incomplete node list */
  OX_ECOMPTYPE = 57,       /* bad component type */
  OX_ECOMPNAME = 59,       /* bad component name: empty, or not shorter than 64 characters */
  OX_EVALUETYPE = 61,      /* bad value type */
  OX_EHANDLE = 63,         /* unknown asynchronous request */
  OX_EQUOTE = 68,          /* a quote is not closed */
  OX_EFORMAT = 70,         /* bad format */
  OX_ETRUNCATED = 71,      /* encoded data end inside a record */
  OX_EKEYLONG = 76,        /* keyword or item text too long */
  OX_EKEYWORD = 77,        /* unknown keyword */
  OX_EINDEXFILE = 78,      /* invalid file contents */
  OX_ENOCOMP = 84,         /* no such component */
  OX_ETOOMANY = 85,        /* more results than the array holds */
  OX_ETOKENS = 86,         /* more tokens than allowed */
  OX_ELINELONG = 87,       /* line too long */
  OX_ERANGE = 88,          /* number out of range */
  OX_ETYPENAME = 93,       /* bad type name */
  OX_ERELATIONNAME = 94,   /* bad relation name */
  OX_EREQTIME = 109,       /* a set request carries a request time */
  OX_EENCODE = 111,        /* bad input to an SNMP encoder */
  OX_EDECODE = 112,        /* malformed input to an SNMP decoder */
  OX_ENODES = 121,         /* answered with per-node errors */
  OX_ENOTFOUND = 122,      /* nothing found; end of a file */
  OX_EAMIBNAME = 125,      /* bad or unknown AMIB name */
  OX_EPATHLONG = 126,      /* AMIB path too long */
  OX_EDEPTH = 127,         /* AMIB path of too many components */
  OX_EBRACES = 128,        /* unbalanced braces */
  OX_ENAMEUSED = 129,      /* name already used among the siblings */
  OX_ENUMBERUSED = 130,    /* number already used among the siblings */
  OX_ENOPARENT = 131,      /* parent node not found */
  OX_EACCESSWORD = 132,    /* unknown access keyword */
  OX_EINTERFACE = 133,     /* unknown interface keyword */
  OX_EISDIR = 138,         /* a directory where a file is required */
  OX_ENOTDIR = 139,        /* not a directory */
  OX_ENOTEXEC = 140,       /* not an executable extension */
  OX_EOPEN = 142,          /* file cannot be opened */
  OX_EWRITE = 144,         /* write failure */
  OX_EDELETE = 145,        /* file cannot be deleted */
  OX_ERENAME = 147,        /* file cannot be renamed */
  OX_EBUSYDIR = 148,       /* directory in use or not empty */
  OX_ENAMELONG = 152,      /* name too long */
  OX_ENOSUCHVALUE = 157,   /* the agent has no such object or instance */
  OX_ENOANSWER = 158,      /* the agent does not answer */
  OX_EENDED = 166,         /* the manager has ended the request */
  OX_ENOTINTABLE = 183,    /* keyword or number not in table */
  OX_EFILENOTFOUND = 189,  /* file not found */
  OX_EDIFFERENT = 190,     /* the existing tree was built from other files */
  OX_ETREESIZE = 191,      /* definitions too large for one block */
  OX_ENOSHM = 193,         /* no such shared block */
  OX_EMISSING = 195,       /* missing argument */
  OX_ENOTYPE = 197,        /* no such component type */
  OX_EEXISTS = 207,        /* already exists */
  OX_ENOLOGENTRY = 225,    /* report entry without log entry */
  OX_ERELATIONCLASS = 252, /* unknown relation class */
  OX_ENOFILENAME = 254,    /* unknown name in a name file directory */
  OX_EEVENT = 255,         /* event handle refused */
  OX_EABSENT = 256,        /* field not present */
  OX_EPLATFORM = 259,      /* platform error without a code of its own */
  OX_ERUNTIME = 261,       /* runtime error without a code of its own */
  OX_EENCODEDLONG = 266,   /* encoded list or text too long */
  OX_EMOVEBUSY = 267,      /* a data entry in use cannot be moved */
  OX_EDELETEBUSY = 268,    /* a collecting data entry cannot be deleted */
  OX_ESYSTEMENTRY = 269,   /* the system's own entry cannot be deleted */
  OX_EEXCLUSIVE = 278,     /* first and last exclude each other */
  OX_ENOTSTARTABLE = 279,  /* entry cannot be started or stopped */
  OX_EPARENTLATE = 356,    /* parent not found after earlier nodes of the file were made */
  OX_ERULESCHEDULE = 379,  /* rule waits for its schedule */
  OX_ENOTINSTALLED = 391,  /* base installation absent */
  OX_ENOPIPE = 393,        /* manager pipe not found */
  OX_ECLIENTS = 394,       /* the manager has as many clients as it may ("MaxClients") */
  OX_ENOV6 = 406,          /* no IPv6 protocol on this machine */
  OX_EV6PREFIX = 412,      /* bad IPv6 prefix */
  OX_ETREEEXISTS = 416,    /* the tree already exists */
  OX_EWAITNAME = 418,      /* wait name too long */
  OX_ERRNO_BASE = 5000,    /* 5000 + errno, for errno 1 to 34 */
  OX_ETHREAD = 5001        /* not permitted: the session belongs to another thread */
};

/* Value type codes: of data nodes, of AMIB nodes, and of the definition files' keywords. */
enum {
  OX_INTEGER = 1,
  OX_COUNTER = 2,
  OX_GAUGE = 3,
  OX_TIMETICKS = 4,
  OX_UNIXTIME = 5,
  OX_IPADDRESS = 6,
  OX_NETWORKADDRESS = 7,
  OX_OCTETSTRING = 8,
  OX_DISPLAYSTRING = 9,
  OX_PHYSADDRESS = 10,
  OX_OBJECTID = 11,
  OX_OPAQUE = 12,
  OX_NULL = 13,
  OX_DELETED = 14,
  OX_AGGREGATE = 15,
  OX_AMIBNONE = 16,
  OX_COUNTER64 = 18,
  OX_IPXADDRESS = 20,
  OX_IPV6ADDRESS = 21,
  OX_IPV6PREFIX = 22,
  OX_IPV6IFID = 23,
  OX_CODESTRING = 24
};

#ifdef __cplusplus
}
#endif

#endif
