// zulratb - the log's thread block: a spare format context for each
// thread, and where the thread's last line went.
//
// A line that finds its thread's spare context and its remembered store
// takes no lock of the trace until it reaches the store.  The block is a
// thread block of the library: when the thread ends, its spare goes back
// to `freeContexts`, where any thread may take it.
#include "ras/zulralg.h"

// The thread's block as resolved, so that a line pays one thread-local
// load for it rather than a lookup.  The block is dropped on its own
// thread, which forgets it then.
static constinit thread_local ZULRA_tcb_t *resolved = nullptr;

static void drop_tcb(void *argument)
{
    ZULRA_tcb_t *tcb = static_cast<ZULRA_tcb_t *>(argument);
    if (resolved == tcb)
        resolved = nullptr;
    ZULRA_FeedLeave(tcb);
    ZULRA_LeaveRing();
    if (tcb->spare != nullptr) {
        ZULRA_fctx_t *context = tcb->spare;
        tcb->spare = nullptr;
        ZULRA_GiveContext(ZULRA_Pcb(), nullptr, context);
    }
}

static constinit ZULSS_descriptor_t tcb_descriptor = {sizeof(ZULRA_tcb_t), nullptr, drop_tcb, 0,
                                                      0};

ZULRA_tcb_t *ZULRA_Tcb(void)
{
    ZULRA_tcb_t *tcb = resolved;
    if (__builtin_expect(tcb == nullptr, 0)) {
        tcb = static_cast<ZULRA_tcb_t *>(BSS1_ResolveThread(&tcb_descriptor, __FILE__, __LINE__));
        resolved = tcb;
    }
    return tcb;
}

ZULRA_fctx_t *ZULRA_TakeContext(ZULRA_pcb_t *block, ZULRA_tcb_t *tcb)
{
    if (tcb != nullptr && tcb->spare != nullptr) {
        ZULRA_fctx_t *context = tcb->spare;
        tcb->spare = nullptr;
        return context;
    }
    ZULSS_HOLD(&block->lock);
    ZULRA_fctx_t *context = block->freeContexts;
    if (context != nullptr)
        block->freeContexts = context->next;
    return context;
}

void ZULRA_GiveContext(ZULRA_pcb_t *block, ZULRA_tcb_t *tcb, ZULRA_fctx_t *context)
{
    context->next = nullptr;
    if (tcb != nullptr && tcb->spare == nullptr) {
        tcb->spare = context;
        return;
    }
    ZULSS_HOLD(&block->lock);
    context->next = block->freeContexts;
    block->freeContexts = context;
}
