/* Definition files: entries to be written, lists of the files of a directory, the position of the last error. */
#ifndef OXBASE_OXF_H
#define OXBASE_OXF_H

#include <oxbase/oxc.h>

#ifdef __cplusplus
extern "C" {
#endif

/*
 * Makes an entry to be written from `count` text arguments, each copied; a null text stays null.
 * Returns 1 and the entry, which the caller releases with oxfClrConfent; 0 with errno 3 when memory runs out, or
 * for a null argument or a count over 1024.
 */
OX_API uint32_t OX_CALL oxfSetConfent(oxcConfigEntry** entry, const char* keyword, uint32_t count, ...);
OX_API OX_RESULT OX_CALL oxfClrConfent(oxcConfigEntry* entry);

/* A file of a definition directory; the list is a Queue. */
typedef struct oxfFileList oxfFileList;

enum { OXF_BASE = 1, OXF_OTHER = 2, OXF_USER = 3 };

/*
 * Lists the files of a directory that have the extension (".def"): "oxbase" plus the extension first, then the
 * others by name without regard to case, "user" plus the extension last. A mask other than 0 keeps some kinds only:
 * 1 base, 2 other, 4 user.
 * Returns 0, with a null list when nothing matches; 1 for a null directory; 195 for an extension of 26 characters or
 * more; 152 for a path too long; 3; the mapped platform error. The caller releases the list with oxfFileListFree.
 */
OX_API OX_RESULT OX_CALL oxfGetFileList(const char* directory, const char* extension, uint32_t mask,
                                        oxfFileList** list);
OX_API OX_RESULT OX_CALL oxfFileListFree(oxfFileList* list);
OX_API OX_RESULT OX_CALL oxfDestroyFileList(oxfFileList* list);

OX_API oxfFileList* OX_CALL oxfGetFileNext(const oxfFileList* file);
OX_API oxfFileList* OX_CALL oxfGetFilePrev(const oxfFileList* file);
OX_API const char* OX_CALL oxfGetFileName(const oxfFileList* file); /* full path */
OX_API uint32_t OX_CALL oxfGetFileAttrib(const oxfFileList* file);  /* OXF_BASE, OXF_OTHER, OXF_USER */

/* File and line of the thread's last definition-file error; a null file when none was recorded. Returns 0. */
OX_API OX_RESULT OX_CALL oxfGetErrorFile(const char** file, uint32_t* line);

/* ---- Component types and relation types -------------------------------------------------------------------------
 * Two lists of what components and their relations may be: built-in entries, then those of the definition files
 * (docs/files.md). A list is a Queue; start it with a null pointer. The records belong to their list, and what a call
 * hands out of them is the list's own. A relation refers to its types, which stay as long as it does, also when the
 * list of types is released first.
 */

typedef struct oxfType oxfType; /* opaque */
typedef struct oxfRelt oxfRelt; /* opaque */
struct dnode;

/* Called for a fault of a definition file: its line, 0 where it is the whole file's, a code, and the word it is about.
 */
typedef void(OX_CALL* oxfFault)(void* argument, const char* path, uint32_t line, OX_RESULT code, const char* subject);

/*
 * Puts the fourteen built-in types and those of the files of "public/comptype" into the list. The records of the first
 * nine are handed out through the other arguments, each of which may be null. What stands before an error stays in the
 * list; oxfGetErrorFile tells where the error stands.
 * Returns 0; 142; 4, 68, 76, 86 for a line of the wrong form; 93 for a bad type name; 3; 1 for a null list.
 */
OX_API OX_RESULT OX_CALL oxf_type_read(oxfType** list, oxfType** system, oxfType** map, oxfType** rmap, oxfType** icon,
                                       oxfType** node, oxfType** net, oxfType** netInterface, oxfType** arc,
                                       oxfType** media);

/* The two halves of it, and one file of the second. A file with an error adds nothing; with a function, all its errors
 * are told, and the first one is returned. */
OX_API OX_RESULT OX_CALL oxfAddBuiltInTypes(oxfType** list);
OX_API OX_RESULT OX_CALL oxfReadCompTypeDef(oxfType** list);
OX_API OX_RESULT OX_CALL oxfReadTypeFile(oxfType** list, const char* path, oxfFault fault, void* argument);

/*
 * Adds, removes the type that data nodes name: each has the AMIB name "10.7.1.0", and the last one's value is the name.
 * Adding returns 0; 20 when it is there already; 56 for no node; 125 for a node of another name; 93 for a bad name; 3.
 * Removing: 57 for an unknown type. Both: 1 for a null list.
 */
OX_API OX_RESULT OX_CALL oxf_type_add(oxfType** list, const struct dnode* nodes);
OX_API OX_RESULT OX_CALL oxf_type_del(oxfType** list, const struct dnode* nodes);

/* The first type with that name or alias; a kind of node ("printer") finds "node". Null for none. */
OX_API oxfType* OX_CALL oxf_type_search(oxfType* list, const char* name);

/* Replaces the name of a kind of node ("host", "printer", "commserver", "multiport", "modem", "repeater") by "node" and
 * returns 1; returns 0 for any other. */
OX_API uint32_t OX_CALL oxf_type_cnvCompType(char* name);
/* 1 when a pattern of oxcRegMatch is met by one of these six, else 0. */
OX_API uint32_t OX_CALL oxf_type_CompTypeMatch(const char* pattern);

OX_API OX_RESULT OX_CALL oxfTypeFree(oxfType* list); /* 0, also for null */

OX_API oxfType* OX_CALL oxfTypeNext(const oxfType* type);
OX_API const char* OX_CALL oxfTypeName(const oxfType* type);
OX_API uint32_t OX_CALL oxfTypeIsBuiltIn(const oxfType* type);
OX_API uint32_t OX_CALL oxfTypeAliasCount(const oxfType* type);
OX_API const char* OX_CALL oxfTypeAlias(const oxfType* type, uint32_t at); /* from 0; null behind the last one */

/*
 * Puts the thirteen built-in relation types and those of the files of "public/reltype" into the list; the first three
 * are handed out, each through an argument that may be null. A name that is there already keeps its definition. An
 * error of a file is written to the system event log as well.
 * Returns as oxf_type_read; 94 for a bad relation name; 77 for an unknown keyword; 57 for an unknown type; 252 for an
 * unknown class; 21 for a list that has a built-in one already.
 */
OX_API OX_RESULT OX_CALL oxf_relt_read(oxfRelt** list, oxfType* types, oxfRelt** mapIcon, oxfRelt** iconObject,
                                       oxfRelt** objectInterface);
OX_API OX_RESULT OX_CALL oxfAddBuiltInRelts(oxfRelt** list, oxfType* types);
/* As oxfReadTypeFile. An error of a whole definition has the line of its "reltype". */
OX_API OX_RESULT OX_CALL oxfReadReltFile(oxfRelt** list, oxfType* types, const char* path, oxfFault fault,
                                         void* argument);

/*
 * Adds the relation type that data nodes describe: name "10.7.4.0", types of its source "10.7.5.0" and its destination
 * "10.7.6.0", class "10.7.28.0"; removes the one of that name.
 * Adding returns 0; 56 without a name; 125 for a node of another name; 94, 21, 57, 252; 3. Removing: 57 for an unknown
 * one. Both: 1 for a null list.
 */
OX_API OX_RESULT OX_CALL oxf_relt_add(oxfRelt** list, oxfType* types, const struct dnode* nodes);
OX_API OX_RESULT OX_CALL oxf_relt_del(oxfRelt** list, const struct dnode* nodes);

/* The relation type of that name; null for none. */
OX_API oxfRelt* OX_CALL oxf_relt_search(oxfRelt* list, const char* name);

OX_API OX_RESULT OX_CALL oxfReltFree(oxfRelt* list); /* 0, also for null */

OX_API oxfRelt* OX_CALL oxfReltNext(const oxfRelt* relation);
OX_API const char* OX_CALL oxfReltName(const oxfRelt* relation);
OX_API oxfType* OX_CALL oxfReltSource(const oxfRelt* relation);      /* null: any */
OX_API oxfType* OX_CALL oxfReltDestination(const oxfRelt* relation); /* null: any */
/* 1 include, 2 included, 3 refer, 4 refered, 5 project, 6 projected, 7 coexist; 0 without one. */
OX_API uint32_t OX_CALL oxfReltClass(const oxfRelt* relation);

#ifdef __cplusplus
}
#endif

#endif
