// SIG1_Query: what the host offers: the range, the available signals and
// the asynchronous ones.
//
// The caller gives the size of its record; `size` bytes are zeroed and a
// field is filled only where the size covers its end, so an older, shorter
// record is never written beyond.  A size above the record's own is taken
// as the record's: what lies behind it is the caller's, and is left alone.
#include "sig/zulsg.h"
#include "internal/zulunits.h"

#include <stddef.h>
#include <string.h>

ZULRA_SIG1_UNIT("zulsgqy");

namespace {

void put(SIG1_QueryRecord *record, uint32_t size, size_t offset, const void *value, size_t length)
{
    if (size >= offset + length)
        memcpy(reinterpret_cast<char *>(record) + offset, value, length);
}

} // namespace

int SIG1_Query(SIG1_QueryRecord *record, uint32_t size)
{
    ZULSG_ENTRY("SIG1_Query");

    if (record == nullptr || size == 0)
        return STC1_BadArgument;
    SIG1_ThreadBlock *thread = ZULSG_Thread();
    if (thread == nullptr)
        return STC1_Shortage;
    const SIG1_Control *c = thread->process->control;
    const uint32_t lowest = static_cast<uint32_t>(c->lowest);
    const uint32_t highest = static_cast<uint32_t>(c->highest);
    const uint32_t asyncCount = static_cast<uint32_t>(c->asyncCount);

    if (size > sizeof(SIG1_QueryRecord))
        size = sizeof(SIG1_QueryRecord);
    memset(record, 0, size);
    put(record, size, offsetof(SIG1_QueryRecord, lowest), &lowest, sizeof lowest);
    put(record, size, offsetof(SIG1_QueryRecord, highest), &highest, sizeof highest);
    put(record, size, offsetof(SIG1_QueryRecord, available), &c->available, sizeof c->available);
    put(record, size, offsetof(SIG1_QueryRecord, asyncCount), &asyncCount, sizeof asyncCount);
    put(record, size, offsetof(SIG1_QueryRecord, async), &c->async, sizeof c->async);
    return STC1_Success;
}
