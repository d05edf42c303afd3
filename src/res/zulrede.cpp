// RES1_Destroy: requests the destruction of a resource and of all that it
// owns.
//
// Under the lock the resource leaves its owner's ring of children, and its
// descendants are flattened into one ring, each marked as taken out of
// the family tree (`children` pointing to itself) so that nobody links new
// children to them.  While the lock is held, a use is taken of every
// member that is alive, and the members are chained through `walk`.
// After the lock each member's destruction is scheduled and that use
// dropped.  The uses keep every member of the chain from reaching its end
// while the chain is walked, whatever other threads drop meanwhile.
//
// A resource ends only when its last use is gone, and each child holds a
// use on its owner: so children end first, whatever the order of the
// walk, and the last of them carries on to its owner.
#include "res/zulre.h"
#include "internal/zulunits.h"

ZULRA_RES1_UNIT("zulrede");

// Takes a use of `rcb` if it is alive; false for an RCB written off.  The
// caller holds the lock.
static bool hold(ZULRE_rvt_t *rvt, ZULRE_rcb_t *rcb)
{
    ZUL_ASSERT_HELD(&rvt->lock);
    uint64_t life = __atomic_load_n(&rcb->life, __ATOMIC_RELAXED);
    do {
        if ((ZULRE_Handle(life) & rvt->generationUnit) == 0)
            return false;
    } while (!__atomic_compare_exchange_n(&rcb->life, &life,
                                          life + (static_cast<uint64_t>(ZULRE_USE) << 32), true,
                                          __ATOMIC_ACQ_REL, __ATOMIC_RELAXED));
    return true;
}

// Takes `rcb` out of the family tree and returns the chain of its
// descendants, each held by one use.  The caller holds the lock.
static ZULRE_rcb_t *take_out(ZULRE_rvt_t *rvt, ZULRE_rcb_t *rcb)
{
    ZUL_ASSERT_HELD(&rvt->lock);
    ZULRE_rcb_t *owner = rcb->owner;
    if (owner != nullptr && owner != rcb) {
        ZULRE_rcb_t *next = rcb->next;
        ZUL_RingUnlink(ZULRE_siblings, rcb);
        ZUL_RingInit(ZULRE_siblings, rcb);
        owner->children = next != rcb ? next : nullptr;
    }

    ZULRE_rcb_t *first = rcb->children;
    rcb->children = rcb;
    if (first == nullptr)
        return nullptr;

    ZULRE_rcb_t *head = nullptr, **tail = &head;
    ZULRE_rcb_t *k = first;
    do {
        ZULRE_rcb_t *ring = k->children;
        // k's children go in right behind k, so the walk meets them.
        if (ring != nullptr && ring != k)
            ZUL_RingSplice(ZULRE_siblings, k, ring);
        k->children = k;
        if (hold(rvt, k)) {
            k->walk = nullptr;
            *tail = k;
            tail = &k->walk;
        }
        k = k->next;
    } while (k != first);
    return head;
}

int RES1_Destroy(uint32_t handle)
{
    ZULRE_ENTRY("RES1_Destroy");
    ZULRE_rvt_t *rvt;
    ZULRE_rcb_t *rcb;
    int status = ZULRE_Open(handle, ZULRE_RESOURCE_HANDLE, &rvt, &rcb);
    if (status != STC1_Success)
        return status;

    status = ZULRE_KillRCB(rvt, rcb) ? STC1_Success : STC1_Warning;

    ZULRE_rcb_t *chain = nullptr;
    {
        ZULSS_HOLD(&rvt->lock);
        if (rcb->children != rcb)
            chain = take_out(rvt, rcb);
    }

    while (chain != nullptr) {
        // Read the link first: the drop may end the member.
        ZULRE_rcb_t *k = chain;
        chain = k->walk;
        k->walk = nullptr;
        ZULRE_KillRCB(rvt, k);
        ZULRE_Drop(rvt, k, 1);
    }

    ZULRE_Drop(rvt, rcb, 1);
    return status;
}
