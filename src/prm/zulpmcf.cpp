// PRM1_CloseFile: closes a parameter file and frees its record.
#include "prm/zulpm.h"

#include <stdlib.h>

int PRM1_CloseFile(ZULPM_file_t *file)
{
    if (file == nullptr)
        return 1;
    // Standard input is shared by every handle opened on it and stays open.
    if (file->stream != stdin)
        fclose(file->stream);
    free(file->buffer);
    free(file);
    return 0;
}
