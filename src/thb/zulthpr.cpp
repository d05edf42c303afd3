// THB1_Prior: steps a cursor to the previous item in key order.
#include "thb/zulth.h"

int THB1_Prior(THB1_Cursor *cursor, void **dataOut)
{
    if (dataOut != nullptr)
        *dataOut = nullptr;
    THB1P_Node *n = THB1P_ResolveCursor(cursor);
    if (n == nullptr)
        return STC1_BadObject;
    THB1P_Node *s = THB1P_Prior(n);
    // At the end the cursor stays on the first item.
    if (s == nullptr)
        return STC1_NotThere;
    THB1P_SetCursor(cursor, s);
    if (dataOut != nullptr)
        *dataOut = s->data;
    return STC1_Success;
}
