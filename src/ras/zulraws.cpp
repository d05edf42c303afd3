// zulraws - ZULRA_WriteStream: the default store's write routine for text:
// standard output or error, or a file.
//
// The store gets whole lines only (the format handler holds back a line
// until its end has come), so lines of several threads never mix,
// however long they are.  The target holds them for one large write, in
// chunks of each thread's own, and then takes them without the store's
// lock; or it writes each batch with one write(2) of its own under the
// lock (see ZULRA_Put).  `data` is the store's target (see zulratg).
#include "ras/zulralg.h"

int ZULRA_WriteStream(void *data, const char *text, uint32_t length, ZULRA_entry_t *entry,
                      uint32_t flags)
{
    (void)entry;
    ZULRA_target_t *target = static_cast<ZULRA_target_t *>(data);
    if (target == nullptr || length == 0)
        return 0;
    // A failed write is not noticed: the log has nowhere to report it.
    return ZULRA_Put(target, text, length, flags);
}
