// LEX1_FreeArgList: frees an argument tree.
#include "lex/zullx.h"

int LEX1_FreeArgList(ZULLX_list_t *list)
{
    if (list == nullptr || list->root != list)
        return LEX1_BadHandle;
    // The root lies in one of the blocks, so the chain is taken first.
    ZULLX_FreeBlocks(static_cast<ZULLX_block_t *>(list->blocks));
    return LEX1_OK;
}
