/*
 * zul/prm1.h - parameter files.
 *
 * Reads a text file of parameters as numbered logical lines: a line that
 * ends in an odd number of backslashes goes on in the next one, blank
 * lines are skipped, line ends and trailing white space are trimmed.
 * What a line means is the caller's business.  Results are plain numbers
 * of this family, not STC1_ codes.  A handle belongs to one thread at a
 * time; nothing traces or locks.
 */
#ifndef ZUL_PRM1_H
#define ZUL_PRM1_H

#include <zul/stc1.h>

ZUL_BEGIN_DECLS

typedef struct ZULPM_file ZULPM_file_t; /* opaque */

/* Opens `path` for reading as text, or standard input when `path` is
 * null.  Sets *file to null first.  0 with *file set; 1 if the file can't
 * be opened (or `file` is null); 2 if there is no memory for the record. */
ZUL_API int PRM1_OpenFile(ZULPM_file_t **file, const char *path);

/* Gives the next logical line in *line (zero-terminated, valid and
 * changeable until the next call on this handle) and its length in
 * *length; *number, if `number` is not null, receives the number of its
 * first physical line that isn't blank.  0 if there is a line; 1 at the
 * end of the file (*length 0), or when memory ran out (with what was read
 * so far; *line is null if nothing could be kept). */
ZUL_API int PRM1_ReadFile(ZULPM_file_t *file, char **line, uint32_t *length, uint32_t *number);

/* Closes the file (standard input stays open) and frees the record.
 * 0, or 1 for a null handle. */
ZUL_API int PRM1_CloseFile(ZULPM_file_t *file);

ZUL_END_DECLS

#endif /* ZUL_PRM1_H */
