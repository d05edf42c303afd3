// ZULRE_DebugLine: the debug lines that resources of a class write while
// the class's debug switch is on.
//
// Every line opens with the class name, the handle, the state word and
// the object, and names the event behind them.  The lines go to the log
// whatever the trace classes are: the switch is the class's, not the
// log's.  They are DETAIL lines to the store, but for the use count error,
// an ERROR line: it reports a caller's mistake, and an ERROR line also
// sends the log's held lines out at once.
#include "res/zulre.h"

void ZULRE_DebugLine(ZULRA_entry_t *entry, int line, uint32_t kind, const ZULRE_rcb_t *rcb,
                     uint64_t life, const char *event)
{
    const RES1_Class *cls = __atomic_load_n(&rcb->resClass, __ATOMIC_ACQUIRE);
    uint32_t handle = ZULRE_Handle(life), state = ZULRE_State(life);
    void *data = __atomic_load_n(&rcb->data, __ATOMIC_RELAXED);
    RAS1_Log(entry, line, kind, ZULRE_DEBUG_HEAD "%s", cls ? cls->nameLength : 0u,
             cls ? cls->name : "", static_cast<unsigned long>(handle), state, data, event);
}
