/*
 * zul/rsn1.h - reason codes and their names.
 *
 * A reason code says why a call ended as it did; calls that have one hand
 * it back through an out-argument, beside the status code of zul/stc1.h.
 */
#ifndef ZUL_RSN1_H
#define ZUL_RSN1_H

#include <zul/stc1.h>

ZUL_BEGIN_DECLS

enum {
    RSN1_NoError = 0, RSN1_Arguments = 1, RSN1_Ascend = 2, RSN1_Authority = 3,
    RSN1_BufferCount = 4, RSN1_Comparator = 5, RSN1_Communication = 6,
    RSN1_Conflict = 7, RSN1_Count = 8, RSN1_Deadlock = 9, RSN1_Default = 10,
    RSN1_Descend = 11, RSN1_Direction = 12, RSN1_Empty = 13, RSN1_EndOfFile = 14,
    RSN1_Existence = 15, RSN1_First = 16, RSN1_Format = 17, RSN1_Full = 18,
    RSN1_InUse = 19, RSN1_IOError = 20, RSN1_Last = 21, RSN1_Length = 22,
    RSN1_Minimum = 23, RSN1_Maximum = 24, RSN1_Mode = 25, RSN1_NoReason = 26,
    RSN1_NotAllowed = 27, RSN1_NotFound = 28, RSN1_NotHeld = 29, RSN1_Path = 30,
    RSN1_Precision = 31, RSN1_Previous = 32, RSN1_Priority = 33, RSN1_Prior = 34,
    RSN1_Range = 35, RSN1_Relation = 36, RSN1_Scale = 37, RSN1_Sequence = 38,
    RSN1_Size = 39, RSN1_Space = 40, RSN1_Storage = 41, RSN1_SystemReject = 42,
    RSN1_Threshold = 43, RSN1_Type = 44, RSN1_Undefined = 45, RSN1_Unique = 46,
    RSN1_VolumeFull = 47, RSN1_NotReady = 48, RSN1_More = 49, RSN1_Chain = 50,
    RSN1_Exit = 51, RSN1_Anchor = 52, RSN1_Interrupted = 53, RSN1_TimeOut = 54,
    RSN1_Values = 55, RSN1_Command = 56, RSN1_Define = 57, RSN1_Reset = 58,
    RSN1_Truncate = 59, RSN1_Incomplete = 60, RSN1_InquiryError = 61,
    RSN1_Open = 62, RSN1_Access = 63, RSN1_User = 64
};

/* Stores the address of the name of reason `code` (0 to 63) in *name and
 * returns STC1_Success; any other code returns STC1_NotThere and leaves
 * *name alone. */
ZUL_API int RSN1_GetName(int32_t code, const char **name);

ZUL_END_DECLS

#endif /* ZUL_RSN1_H */
