/*
 * Data nodes: one value of one component, with the names, times, identifier and error code that go with it. Every
 * field is optional. A request or an answer is a Queue of data nodes.
 */
#ifndef OXBASE_OXD_H
#define OXBASE_OXD_H

#include <oxbase/oxtypes.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Opaque; its first two fields are the Queue links. */
typedef struct dnode dnode;

/* ---- Life cycle ------------------------------------------------------------------------------------------------ */

/* A list of `count` empty nodes; null for 0 or when memory runs out. */
OX_API dnode* OX_CALL oxdAlloc(uint32_t count);

/* Releases every node from the given one to the end of its list. Returns 0, also for null. */
OX_API OX_RESULT OX_CALL oxdFree(dnode* list);

/* A copy of one node, the rest of its list left out; null when memory runs out. */
OX_API dnode* OX_CALL oxdCopy(const dnode* node);

OX_API dnode* OX_CALL oxdNext(const dnode* node);
OX_API dnode* OX_CALL oxdPrev(const dnode* node); /* of the first node: the last */

/* ---- Fields -----------------------------------------------------------------------------------------------------
 * Set: copies; 1 for a null node, 3 when memory runs out, with the field as it was.
 * Get: the node's own text or number; the code in the comment when the field is absent; 1 for a null argument.
 * Clr: releases; 0, also when the field was absent.
 */
OX_API OX_RESULT OX_CALL oxdSetCompName(dnode* node, const char* name);        /* 59 null or empty */
OX_API OX_RESULT OX_CALL oxdGetCompName(const dnode* node, const char** name); /* 26 */
OX_API OX_RESULT OX_CALL oxdClrCompName(dnode* node);

OX_API OX_RESULT OX_CALL oxdSetCompType(dnode* node, const char* type);        /* 57 null or empty */
OX_API OX_RESULT OX_CALL oxdGetCompType(const dnode* node, const char** type); /* 25 */
OX_API OX_RESULT OX_CALL oxdClrCompType(dnode* node);

/*
 * A name of digits and dots alone is kept as it stands; any other is converted to its numeric path through the AMIB
 * tree, whose error is returned. 125 null or empty.
 */
OX_API OX_RESULT OX_CALL oxdSetAmibName(dnode* node, const char* name);
OX_API OX_RESULT OX_CALL oxdGetAmibName(const dnode* node, const char** name); /* 27 */
OX_API OX_RESULT OX_CALL oxdClrAmibName(dnode* node);

/* The AMIB node of the AMIB name, looked up once and kept in the data node. 27, or the tree's error. */
OX_API OX_RESULT OX_CALL oxdGetAmibEntry(dnode* node, uint32_t* entry);

OX_API OX_RESULT OX_CALL oxdSetReqTime(dnode* node, uint32_t seconds);
OX_API OX_RESULT OX_CALL oxdGetReqTime(const dnode* node, uint32_t* seconds); /* 28 */
OX_API OX_RESULT OX_CALL oxdClrReqTime(dnode* node);

OX_API OX_RESULT OX_CALL oxdSetRspTime(dnode* node, uint32_t seconds);
OX_API OX_RESULT OX_CALL oxdGetRspTime(const dnode* node, uint32_t* seconds); /* 29 */
OX_API OX_RESULT OX_CALL oxdClrRspTime(dnode* node);

OX_API OX_RESULT OX_CALL oxdSetDnodeId(dnode* node, uint32_t id);
OX_API OX_RESULT OX_CALL oxdGetDnodeId(const dnode* node, uint32_t* id); /* 30, with *id 0 */
OX_API OX_RESULT OX_CALL oxdClrDnodeId(dnode* node);

OX_API OX_RESULT OX_CALL oxdSetErrCode(dnode* node, uint32_t code);        /* 16 bits are kept */
OX_API OX_RESULT OX_CALL oxdGetErrCode(const dnode* node, uint32_t* code); /* 31, with *code 0 */
OX_API OX_RESULT OX_CALL oxdClrErrCode(dnode* node);

/* ---- Value types ------------------------------------------------------------------------------------------------ */

/* How a value lies in its bytes. */
enum {
  OXD_NO_VALUE = 0,   /* a tree node that holds others */
  OXD_SIGNED32 = 1,   /* numbers in network order */
  OXD_UNSIGNED32 = 2, /* also points in time and durations */
  OXD_UNSIGNED64 = 3,
  OXD_ADDRESS = 4, /* the 4 bytes of an IPv4 address */
  OXD_BYTES = 5,
  OXD_OCTETS = 6, /* bytes, and a zero byte after them that the size does not count */
  OXD_TEXT = 7,   /* with its terminator, which the size counts */
  OXD_MARK = 8    /* the byte has no meaning */
};

#define OXD_TYPES 25u /* every code is below */

typedef struct oxdType {
  uint32_t code;
  const char* keyword; /* in definition files; null where no tree node has the type */
  uint32_t form;       /* OXD_SIGNED32 and its like */
  uint32_t size;       /* bytes of every value; 0: they differ */
  uint32_t leaf;       /* 1: a tree node of this type holds a value */
} oxdType;

/* What is known of a value type. 0; 61 for a number that is no type; 1 for a null argument. */
OX_API OX_RESULT OX_CALL oxdTypeInfo(uint32_t code, oxdType* info);

/* ---- Values -----------------------------------------------------------------------------------------------------
 * Stored forms: types 1 to 5 are 4 bytes in network order, 6 and 7 the 4 bytes of the address, 18 is 8 bytes in
 * network order; 9 and 11 are texts whose size counts the terminator; 20 is 10 bytes; the others are plain bytes.
 */

/*
 * Stores a value. Types 1 to 7: value is the number, the address in network order. 18: value is the low word, size the
 * high word. 9, 11: value points to a text, null for the empty one; size is ignored. 8, 10, 12, 21 to 24: value points
 * to `size` bytes. 20: value points to 10 bytes. 13, 14: both are ignored.
 * Returns 0; 61 for any other type; 3, with the old value kept; 1 for a null node or for null bytes of a size over 0.
 */
OX_API OX_RESULT OX_CALL oxdSetValue(dnode* node, uint32_t type, uintptr_t value, uint32_t size);

/* Takes over a tracked block as the value, unchecked; the node owns it from then on. Note the order of arguments. */
OX_API OX_RESULT OX_CALL oxdSetRawValue(dnode* node, uint32_t type, uint32_t size, void* value);

/* Type, size and bytes; each out-argument may be null. 32 without a value. */
OX_API OX_RESULT OX_CALL oxdGetValue(const dnode* node, uint32_t* type, uint32_t* size, const void** value);
OX_API OX_RESULT OX_CALL oxdClrValue(dnode* node);

OX_API int32_t OX_CALL oxdGetValueType(const dnode* node);      /* -1 without a value */
OX_API int32_t OX_CALL oxdGetValueSize(const dnode* node);      /* -1 without a value */
OX_API const void* OX_CALL oxdGetValueValue(const dnode* node); /* null without a value */

/* The first 4, 8 value bytes as a number. 32 without a value; 70 for a value of fewer bytes. */
OX_API OX_RESULT OX_CALL oxdGetValueByLong(const dnode* node, int32_t* value);
OX_API OX_RESULT OX_CALL oxdGetValueByUlong(const dnode* node, uint32_t* value);
OX_API OX_RESULT OX_CALL oxdGetValueByUlonglong(const dnode* node, uint64_t* value);

/*
 * Makes a node from all fields and appends it to the list. Texts are set when given, times when over 0, the error code
 * always, the value when the type is 1 to 24. Any setter's error is returned, with the list as it was.
 */
OX_API OX_RESULT OX_CALL oxdSetAllData(dnode** list, const char* compType, const char* compName, const char* amibName,
                                       uint32_t reqTime, uint32_t rspTime, uint32_t errCode, uint32_t valueType,
                                       uintptr_t value, uint32_t size);

/* Where an icon stands. The leading word is not stored; fields that a stored text does not give are -1. */
typedef struct oxIconLocation {
  int32_t lead;
  int32_t field1;
  int32_t field2;
  int32_t field3;
  int32_t field4;
  int32_t field5;
  int32_t field6;
} oxIconLocation;

/* Store and read a location as a text value, "third,fourth,fifth,sixth,first,second". Reading: 70, 32; null: 1. */
OX_API OX_RESULT OX_CALL oxdSetIconLocation(dnode* node, const oxIconLocation* location);
OX_API OX_RESULT OX_CALL oxdGetIconLocation(const dnode* node, oxIconLocation* location);

/* ---- Encoding --------------------------------------------------------------------------------------------------- */

/*
 * Encodes a list, from the given node to its end, into one new block: big-endian, nodes back to back, no count, no
 * padding. The caller releases it with oxcMemFree. The cached AMIB node is not carried.
 * Returns 0, also for a null list, which leaves *buffer and *length as they were; 3; 266 for a text of 65535
 * characters or more; 1 for a null out-argument.
 */
OX_API OX_RESULT OX_CALL oxdEncode(const dnode* list, void** buffer, uint32_t* length);

/*
 * Decodes a list, which the caller releases with oxdFree. Length 0 gives a null list.
 * Returns 0; 71 when the data end inside a node; 3; 1 for a null argument. On failure *list is left as it was.
 */
OX_API OX_RESULT OX_CALL oxdDecode(const void* data, uint32_t length, dnode** list);

/* ---- Text forms ------------------------------------------------------------------------------------------------- */

/* Display text, with enumeration names, and raw text of a value; "(no_value)", "(bad_type)". */
OX_API const char* OX_CALL oxdGetValueByStr(dnode* node);
OX_API const char* OX_CALL oxdGetValueByRawStr(dnode* node);

/* The clear text of a "CodeString" value; "(no_value)", "(bad_type)", "(no_memory)". */
OX_API const char* OX_CALL oxdGetValueByCodeStr(const dnode* node);

/*
 * Parses a text into a value of the type; type 0 is the type of the node's AMIB attribute.
 * Returns 0; 61 for a type without a parser; 70, 88, 125, 412 from the parsers; 3; 1; the errors of oxdGetAmibEntry.
 */
OX_API OX_RESULT OX_CALL oxdSetValueByStr(dnode* node, uint32_t type, const char* text);

/*
 * The same for a text as it is displayed, and as a user types it: of an INTEGER also the name of an item of the
 * attribute's enumeration, "down" or "down(2)"; of an OctetString or an Opaque the text itself, and hex only behind
 * "0x"; of an ObjectID also a name without the head that the display leaves out. The stars of a CodeString are no
 * value: 70. Returns what oxdSetValueByStr does. On failure the node has the value that it had.
 */
OX_API OX_RESULT OX_CALL oxdSetValueByShown(dnode* node, uint32_t type, const char* text);

/*
 * One line from a format: %C component name, %T type, %AB last label, %AN numeric path, %AS full name, %QD %QN %QS
 * request time as date, number, text, %SD %SN %SS response time, %V display text, %W raw text (or the error text of
 * a node with an error code), %% a percent sign. "-" justifies left, a number is a width up to 4096.
 * Null stands for "%C\t%QS\t%-22AB\t%V\n". Never null; "(no_memory)" when the buffer cannot grow.
 */
OX_API const char* OX_CALL oxdDnodeToStr(const char* format, dnode* node);

/* Write the formatted line of every node to the standard output, to the debug trace. Return 0. */
OX_API OX_RESULT OX_CALL oxdPrint(const char* format, dnode* list);
OX_API OX_RESULT OX_CALL oxdPrintLog(const char* format, dnode* list);

/* ---- Collected data ---------------------------------------------------------------------------------------------
 * A matrix of values over four axes: components, attributes, indexes, times. It travels as items.
 */

/* Kinds of items: an entry of an axis, a value. */
enum { OXD_MATRIX_COMPONENT = 1, OXD_MATRIX_AMIB = 2, OXD_MATRIX_TIME = 3, OXD_MATRIX_INDEX = 4, OXD_MATRIX_CELL = 5 };

typedef struct oxdMatrixItem {
  struct oxdMatrixItem* next; /* the Queue links of a matrix's cells */
  struct oxdMatrixItem* prev;
  uint32_t kind;
  uint32_t number;    /* of an axis entry: its place on the axis, from 0 */
  uint32_t component; /* of a cell: its places on the axes */
  uint32_t amib;
  uint32_t index;
  uint32_t time;
  uint32_t timeValue; /* of a time entry: seconds since 1970 */
  uint32_t type;      /* of a cell: value type, and the status word, in which a gap has its reason */
  uint32_t status;
  uint32_t length; /* bytes of data */
  void* data;      /* an axis entry's text, a cell's value in its stored form */
} oxdMatrixItem;

/*
 * Encodes an item into a new block, which the caller releases with oxcMemFree.
 * Returns 0; 195 for an unknown kind; 1 for a null argument, no data, or more than 65535 bytes of them; 3.
 */
OX_API OX_RESULT OX_CALL oxdMatrixEncode(const oxdMatrixItem* item, void** buffer, uint32_t* length);

/*
 * Decodes the first item of the data into a new one, which is released with oxdMatrixItemFree; *used receives the bytes
 * it took. Returns 0; 1 for an unknown kind, data that end too early, a text without terminator, and a cell whose two
 * lengths differ; 1 for a null argument; 3.
 */
OX_API OX_RESULT OX_CALL oxdMatrixDecode(const void* data, uint32_t length, oxdMatrixItem** item, uint32_t* used);
OX_API OX_RESULT OX_CALL oxdMatrixItemFree(oxdMatrixItem* item); /* 0, also for null */

typedef struct oxdMatrixTexts {
  char** texts;
  uint32_t count;
  uint32_t room;
} oxdMatrixTexts;

typedef struct oxdMatrix {
  oxdMatrixTexts components;
  oxdMatrixTexts amibs;
  oxdMatrixTexts indexes;
  uint32_t* times; /* seconds since 1970 */
  uint32_t timeCount;
  uint32_t timeRoom;
  uint32_t timeNumber;   /* the number that the first of the times came with */
  uint32_t timeBase;     /* a cell's time number that is the first of this matrix's times */
  oxdMatrixItem* cells;  /* Queue: all of them, also those that are nowhere on the axes */
  oxdMatrixItem** table; /* of ((c * amibs + a) * indexes + i) * times + t; null: no value, or no table */
} oxdMatrix;

OX_API oxdMatrix* OX_CALL oxdMatrixAlloc(void);            /* an empty one; null when memory runs out */
OX_API OX_RESULT OX_CALL oxdMatrixFree(oxdMatrix* matrix); /* releases all of it; 0, also for null */

/*
 * Appends encoded items: axis entries to their axes, cells to the queue. A table goes: oxdTableSet makes it anew.
 * Returns 0; the codes of oxdMatrixDecode, with the items before in place; 1 for a null matrix.
 */
OX_API OX_RESULT OX_CALL oxdMatrixAdd(oxdMatrix* matrix, const void* data, uint32_t length);

/*
 * Makes the table of cells, where timeBase is the time number of the matrix's first time. A cell outside the axes has
 * no place in it; of two cells at one place the last one has it. Returns 0; 3, with the table as it was, also for a
 * size that no memory has; 1 for a null matrix.
 */
OX_API OX_RESULT OX_CALL oxdTableSet(oxdMatrix* matrix, uint32_t timeBase);
OX_API OX_RESULT OX_CALL oxdTableFree(oxdMatrix* matrix); /* 0, also without a table; 1 for null */

/* Length of an axis, named by the kind of its entries; one of its texts; one of its times; a cell by its places on this
 * matrix's axes, and its value as display text. Texts and cells are the matrix's own; the display text is in a buffer
 * of the thread. Return 0; 1 for a null argument, another kind, a place outside; 122 where there is no value; of the
 * display text also 61 and 3.
 */
OX_API OX_RESULT OX_CALL oxdMatrixGetLength(const oxdMatrix* matrix, uint32_t kind, uint32_t* length);
OX_API OX_RESULT OX_CALL oxdMatrixGetText(const oxdMatrix* matrix, uint32_t kind, uint32_t place, const char** text);
OX_API OX_RESULT OX_CALL oxdMatrixGetTime(const oxdMatrix* matrix, uint32_t place, uint32_t* seconds);
OX_API OX_RESULT OX_CALL oxdMatrixGetCell(const oxdMatrix* matrix, uint32_t component, uint32_t amib, uint32_t index,
                                          uint32_t time, const oxdMatrixItem** cell);
OX_API OX_RESULT OX_CALL oxdMatrixGetCellText(const oxdMatrix* matrix, uint32_t component, uint32_t amib,
                                              uint32_t index, uint32_t time, const char** text);

#ifdef __cplusplus
}

/* Typed forms of oxdSetValue. */
inline OX_RESULT oxdSetLong(dnode* node, int32_t value) {
  return oxdSetValue(node, OX_INTEGER, static_cast<uint32_t>(value), 0);
}
inline OX_RESULT oxdSetUlong(dnode* node, uint32_t type, uint32_t value) { return oxdSetValue(node, type, value, 0); }
inline OX_RESULT oxdSetCounter64(dnode* node, uint64_t value) {
  return oxdSetValue(node, OX_COUNTER64, static_cast<uint32_t>(value), static_cast<uint32_t>(value >> 32));
}
inline OX_RESULT oxdSetText(dnode* node, const char* text) {
  return oxdSetValue(node, OX_DISPLAYSTRING, reinterpret_cast<uintptr_t>(text), 0);
}
inline OX_RESULT oxdSetBytes(dnode* node, uint32_t type, const void* bytes, uint32_t size) {
  return oxdSetValue(node, type, reinterpret_cast<uintptr_t>(bytes), size);
}
#endif

#endif
