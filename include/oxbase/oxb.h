/*
 * The AMIB: the tree of attributes that names every managed value. It is built once per machine into named shared
 * memory; every process reads the one copy in place, without locks.
 *
 * A node is named by a 32-bit reference that is valid in every process: bits 21 to 31 the data block (1 to 2047),
 * bits 0 to 20 the byte offset in it; 0 is no node.
 *
 * A written path has components separated by ".", each a node name or a number: "obj.cmn.cmnName.0", "11.1.1.0".
 * A leading "." stands for "1.3.6.1.2.1.", a leading "~" for "1.3.6.1.4.1.". What lies below the deepest node that a
 * path names is its instance: digits, or "*" in patterns. At most 64 components and 4095 characters.
 */
#ifndef OXBASE_OXB_H
#define OXBASE_OXB_H

#include <oxbase/oxtypes.h>

#ifdef __cplusplus
extern "C" {
#endif

enum { OXB_TREE = 1120, OXB_SCRATCH_TREE = 12345 };                                           /* base keys */
enum { OXB_READ = 1, OXB_WRITE = 2, OXB_READ_WRITE = 3, OXB_NOTIFY = 8 };                     /* access bits */
enum { OXB_CONF = 1, OXB_NIL = 2, OXB_SNMP = 3, OXB_EMON = 4, OXB_ICMP = 5, OXB_ICMPV6 = 6 }; /* interfaces */

/* ---- The tree ------------------------------------------------------------------------------------------------- */

/*
 * Attaches the process to the tree of a base key; does nothing when a tree is attached already.
 * Returns 0; 193 when there is no such tree; a platform error. After a failure nothing is attached.
 */
OX_API OX_RESULT OX_CALL oxbInit(uint32_t key);

/* Selects the base key for the building and deleting operations. */
OX_API void OX_CALL oxbInitAmibTree(uint32_t key);

/*
 * Loads one definition file into a new data block of the selected tree. Files are added one at a time; each may
 * refer to the nodes of those before it. The first file creates the tree.
 * Returns 0; 416 when a tree that this thread did not build exists; 4, 61, 70, 87, 88, 125, 129 to 133, 356 for a
 * fault in a line (oxfGetErrorFile tells which); 5002, 138, 142 for the file; 3, 12, 13, 191. A failed file leaves
 * the tree as it was before; a failed first file leaves none.
 */
OX_API OX_RESULT OX_CALL oxbAddAmibTree(const char* path);

/* A definition file to verify the tree against; the caller's list is a Queue. */
typedef struct oxbFileEntry {
  struct oxbFileEntry* next;
  struct oxbFileEntry* prev;
  const char* path;
  uint32_t done; /* 0 at first; set when the file has been loaded into the scratch tree */
} oxbFileEntry;

/*
 * Called for a fault of a definition file: a code for its kind and the word that it is about. Line 0: the whole file.
 */
typedef void(OX_CALL* oxbFault)(void* argument, const char* path, uint32_t line, OX_RESULT code, const char* subject);

/*
 * Loads definition files into the selected tree, in any order: what needs a later file is tried again. A file with
 * faults is left out and the rest is loaded; `fault` (null: nowhere) is called for every one of its faults, once for a
 * missing parent, and not for what only follows from an earlier fault. The entries' flags tell which files are in.
 * Returns 0 when all are; else the first fault's code, or what oxbAddAmibTree fails with for no file's fault; 183 for a
 * null list.
 */
OX_API OX_RESULT OX_CALL oxbLoadAmibFiles(oxbFileEntry* list, oxbFault fault, void* argument);

/*
 * The installation's files of the tree, in reading order: those of the extension (".def", ".enm", ".dsc") in
 * "public/amib" under the work directory; a null list when there is no such folder. The caller releases the list with
 * oxfFileListFree. Returns 0; 14 without a work directory; 152; the errors of oxfGetFileList.
 */
struct oxfFileList;
OX_API OX_RESULT OX_CALL oxbGetAmibFiles(const char* extension, struct oxfFileList** list);

/*
 * Whether the tree that exists under the selected key was built from exactly these files, in any order; the tree is
 * attached then. Returns 0; 190 when it was not; 183 for a null list; errors of the files and of the shared blocks.
 */
OX_API OX_RESULT OX_CALL oxbUseAlreadyExistAmibTree(oxbFileEntry* list);

/*
 * Removes the tree of a base key from this process and gives up its blocks; other processes keep theirs. The process
 * that built the tree clears its directory as well, so that nobody attaches to it any more. Deleting the scratch tree
 * puts the tree that was attached before back in place.
 * Returns 0; 193 when this process has no such tree; a platform error.
 */
OX_API OX_RESULT OX_CALL oxbDeleteAmibTree(uint32_t key);

/*
 * For the tree's owner: makes room for a new tree of the base key while other processes hold the old one. They keep it
 * until they attach again.
 * Returns 0; 193 when there is no such tree; 416 where a block's name cannot be taken from its holders (Windows, or
 * blocks of another account): nothing is changed then; a platform error.
 */
OX_API OX_RESULT OX_CALL oxbSupersedeAmibTree(uint32_t key);

/*
 * Attaches the process, in place of what it has attached, to the tree of a base key that others hold though its owner
 * has gone, and lists its blocks in the directory again, so that more processes can attach to it. Returns 0; 193 when
 * there is no such tree; 190 when what there is of it is no tree, or when its directory does not list them and only its
 * maker may write it (Linux; oxbSupersedeAmibTree makes room there); a platform error.
 */
OX_API OX_RESULT OX_CALL oxbTakeOverAmibTree(uint32_t key);

/* ---- Nodes ------------------------------------------------------------------------------------------------------
 * One load each, no checks: the reference must be that of a node of the attached tree.
 */
OX_API uint32_t OX_CALL oxbNumber(uint32_t node);
OX_API uint32_t OX_CALL oxbAmibType(uint32_t node);
OX_API uint32_t OX_CALL oxbAccessControl(uint32_t node);
OX_API uint32_t OX_CALL oxbAmibInterface(uint32_t node);
OX_API uint32_t OX_CALL oxbParent(uint32_t node);
OX_API uint32_t OX_CALL oxbChild(uint32_t node);   /* first child */
OX_API uint32_t OX_CALL oxbPrev(uint32_t node);    /* previous sibling */
OX_API uint32_t OX_CALL oxbNext(uint32_t node);    /* next sibling */
OX_API const char* OX_CALL oxbName(uint32_t node); /* inside the mapped block; never to be written */

OX_API uint32_t OX_CALL oxbIsLeaf(uint32_t node);  /* 1 when the type is that of a value */
OX_API uint32_t OX_CALL oxbIsAggre(uint32_t node); /* 1 when the node or an ancestor is an "Aggregate"; 0 for 0 */

/* ---- Paths and names --------------------------------------------------------------------------------------------
 * All return 14 while no tree is attached and 1 for a null out-argument. 125 an unknown name or an empty path, 126 a
 * path too long, 127 too many components.
 */

/* The deepest node that a path names; the root for a null or empty path. */
OX_API OX_RESULT OX_CALL oxbEntry(const char* path, uint32_t* node);

/* Named and numeric path of a node; "" for the root. */
OX_API OX_RESULT OX_CALL oxbApToStr(uint32_t node, const char** path);
OX_API OX_RESULT OX_CALL oxbApToNum(uint32_t node, const char** path);

/* A written path with every component that is a node written as its name, as its number; the rest as written. */
OX_API OX_RESULT OX_CALL oxbStrName(const char* path, const char** name);
OX_API OX_RESULT OX_CALL oxbNumName(const char* path, const char** name);

/* Splits "11.1.1.0" into "obj.cmn.cmnName" and "0"; the second is "" without instance. Either pointer may be null. */
OX_API OX_RESULT OX_CALL oxbSplit(const char* path, const char** object, const char** instance);

/* The last label and its instance: "cmnName.0" of "obj.cmn.cmnName.0". */
OX_API OX_RESULT OX_CALL oxbBasename(const char* path, const char** name);

/*
 * Mode 0: 1 when a equals b, two nulls included. Other modes: 1 when b is a prefix of a at a component boundary.
 * Works on the texts alone and needs no tree.
 */
OX_API uint32_t OX_CALL oxbMatch(const char* a, const char* b, uint32_t mode);

/* The next leaf of top's subtree in depth-first order after `current` (0: the first); 0 when there is none. */
OX_API uint32_t OX_CALL oxbTraverse(uint32_t top, uint32_t current);

/*
 * Expands "sys.{a,b}.x{1,2}" into every combination, the rightmost group varying fastest; a "," outside all groups
 * separates patterns. Each result is a block of 4096 bytes in the caller's array, released with oxcMemFree.
 * Returns 0; 128 unbalanced braces; 126 a result of 4096 characters or more; 85 more results than the capacity; 3;
 * 1 for a null argument. On failure the count is 0 and nothing is handed out. Needs no tree.
 */
OX_API OX_RESULT OX_CALL oxbDeploy(const char* pattern, uint32_t* count, char** results, uint32_t capacity);

/* ---- Enumerations and descriptions ------------------------------------------------------------------------------
 * Loaded once per process, on first use, from the work directory's "public/amib". A faulty item costs its enumeration,
 * a faulty description itself; another fault of an enumeration file leaves none, until the files have been changed.
 */

/*
 * The item text ("up(1)") of a value in the enumeration that applies to a path. On failure the text is the value in
 * decimal. Returns 0; 183 without an item; the error of its faulty item; errors of the path and of the files.
 */
OX_API OX_RESULT OX_CALL oxbEnumToStr(const char* path, int32_t value, const char** text);

/* The number of an item text: 1 of "up(1)". Returns 0, 70, 1. Needs no tree. */
OX_API OX_RESULT OX_CALL oxbStrToEnum(const char* text, int32_t* value);

/* The index-th item, by value, of the enumeration that applies to a path. Returns 0; 183 past the last one. */
OX_API OX_RESULT OX_CALL oxbEnumItem(const char* path, uint32_t index, int32_t* value, const char** text);

/*
 * Reads an enumeration file (".enm") or a file of descriptions (any other name) for its faults alone; a null path: all
 * those of the installation. Calls `fault` for each: 4 a "}" without "{", a block that is not closed, a header with
 * blanks behind its ":", a description without a tab; 70, 76, 88 an item; 87; 126, 127 a path. A path that the tree
 * does not know is none. Returns 0, faults or none; 14; the errors of the file; 3; 1 for a null function.
 */
OX_API OX_RESULT OX_CALL oxbCheckAmibTexts(const char* path, oxbFault fault, void* argument);

/* The description of a path's node. Returns 0; 183 without one; 125 for a null or unknown path. */
OX_API OX_RESULT OX_CALL oxbAmibToDesc(const char* path, const char** description);

#ifdef __cplusplus
}
#endif

#endif
