// THB1_Next: steps a cursor to the next item in key order.
#include "thb/zulth.h"

int THB1_Next(THB1_Cursor *cursor, void **dataOut)
{
    if (dataOut != nullptr)
        *dataOut = nullptr;
    THB1P_Node *n = THB1P_ResolveCursor(cursor);
    if (n == nullptr)
        return STC1_BadObject;
    THB1P_Node *s = THB1P_Next(n);
    // At the end the cursor stays where it is, on the last item, so that
    // a THB1_Prior from there gives the item before the last.
    if (s == nullptr)
        return STC1_NotThere;
    THB1P_SetCursor(cursor, s);
    if (dataOut != nullptr)
        *dataOut = s->data;
    return STC1_Success;
}
