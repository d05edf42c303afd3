// LEX1_Character: reads and changes the class word of one byte.
#include "lex/zullx.h"

int LEX1_Character(ZULLX_handle_t handle, int32_t index, const uint16_t *newClass,
                   uint16_t *oldClass)
{
    ZULLX_lcb_t *scanner = ZULLX_Scanner(handle);
    if (scanner == nullptr)
        return LEX1_BadHandle;
    if (index < 0 || index > 255)
        return LEX1_BadArgument;
    if (oldClass != nullptr)
        *oldClass = scanner->table.classes[index];
    if (newClass != nullptr)
        scanner->table.classes[index] = *newClass;
    return LEX1_OK;
}
