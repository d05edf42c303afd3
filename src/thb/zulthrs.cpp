// THB1_Reset: places a cursor before the first and after the last item.
#include "thb/zulth.h"

int THB1_Reset(THB1_Tree *handle, THB1_Cursor *cursor)
{
    if (cursor == nullptr)
        return STC1_BadObject;
    THB1P_ClearCursor(cursor);
    THB1P_Tree *tree = THB1P_Resolve(handle);
    if (tree == nullptr)
        return STC1_BadObject;
    // The header is both ends of the walk: its successor is the first
    // item and its predecessor the last.
    THB1P_SetCursor(cursor, tree->head);
    return STC1_Success;
}
