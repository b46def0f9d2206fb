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

#ifdef __cplusplus
}
#endif

#endif
