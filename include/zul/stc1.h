/*
 * zul/stc1.h - status codes and their names.
 *
 * Most exported calls of the library return one of these status codes.
 * Every other public header includes this one, so it also carries the few
 * linkage macros that the family headers share.
 */
#ifndef ZUL_STC1_H
#define ZUL_STC1_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
#define ZUL_BEGIN_DECLS extern "C" {
#define ZUL_END_DECLS }
#else
#define ZUL_BEGIN_DECLS
#define ZUL_END_DECLS
#endif

/* Exported functions are the only symbols of libzul.so with default
 * visibility; everything else in the library is hidden. */
#define ZUL_API __attribute__((visibility("default")))

/* Marks a function whose argument number `format` is a format of the
 * library's dialect (docs/format.md) and whose values start at argument
 * number `first` (0 for a va_list), so that gcc and clang check each
 * call's literal format against the types of its values under -Wformat,
 * as they check printf's. */
#define ZUL_PRINTF(format_, first_) __attribute__((__format__(__printf__, format_, first_)))

ZUL_BEGIN_DECLS

enum {
    STC1_Success = 0,
    STC1_BadArgument = 1,
    STC1_BadObject = 2,
    STC1_BusyObject = 3,
    STC1_Duplicate = 4,
    STC1_NotThere = 5,
    STC1_ProtocolError = 6,
    STC1_Shortage = 7,
    STC1_SystemError = 8,
    STC1_UnknownError = 9,
    STC1_Warning = 10,
    STC1_Authority = 11
};

/* Stores the address of the name of status `code` (0 to 10) in *name and
 * returns STC1_Success; any other code returns STC1_NotThere and leaves
 * *name alone.  The name is static and must not be changed. */
ZUL_API int STC1_GetName(int32_t code, const char **name);

ZUL_END_DECLS

#endif /* ZUL_STC1_H */
