// RES1_Create: makes a resource of a registered class.
//
// The new resource starts with one use, the creator's.  With an owner, it
// joins the owner's ring of children and holds a use on the owner until
// its own end, so the owner cannot end first.  An owner that is being
// destroyed takes no children: the resource is made all the same, and its
// destruction is scheduled at once.
#include "res/zulre.h"
#include "internal/zulunits.h"

ZULRA_RES1_UNIT("zulrecr");

// The class that `classHandle` names; null when it names no class.
static RES1_Class *class_of(ZULRE_rvt_t *rvt, uint32_t classHandle)
{
    RES1_Class *cls = nullptr;
    ZULRE_rcb_t *classRcb = ZULRE_DisableRCB(rvt, classHandle, 1);
    if (classRcb != nullptr) {
        if ((ZULRE_State(ZULRE_LoadLife(classRcb)) & ZULRE_CLASS) != 0)
            cls = static_cast<RES1_Class *>(__atomic_load_n(&classRcb->data, __ATOMIC_ACQUIRE));
        ZULRE_Drop(rvt, classRcb, 1);
    }
    return cls;
}

// What became of the new resource and its owner.
enum {
    kJoined,    // one of the owner's children now
    kDestroyed, // destroyed already by somebody who guessed its handle
    kOrphan,    // the owner is being destroyed and takes no children
};

// Puts the new resource `rcb`, whose handle was `handle`, among the
// children of `owner`, in front of the first child: at the end of the
// ring.
static int join_owner(ZULRE_rvt_t *rvt, ZULRE_rcb_t *owner, ZULRE_rcb_t *rcb, uint32_t handle)
{
    ZULSS_HOLD(&rvt->lock);
    if (owner->children == owner)
        return kOrphan;
    // A resource destroyed already must not join a ring now.
    if (ZULRE_Handle(ZULRE_LoadLife(rcb)) != handle || rcb->children == rcb)
        return kDestroyed;
    if (owner->children != nullptr)
        ZUL_RingInsertBefore(ZULRE_siblings, owner->children, rcb);
    else
        owner->children = rcb;
    __atomic_store_n(&rcb->owner, owner, __ATOMIC_RELEASE);
    return kJoined;
}

int RES1_Create(uint32_t *handleOut, uint32_t classHandle, uint32_t ownerHandle, void *data)
{
    ZULRE_ENTRY("RES1_Create");

    if (handleOut == nullptr)
        return STC1_BadArgument;
    *handleOut = 0;
    ZULRE_rvt_t *rvt = ZULRE_Rvt();
    if (rvt == nullptr)
        return STC1_BadObject;

    RES1_Class *cls = class_of(rvt, classHandle);
    if (cls == nullptr)
        return STC1_BadObject;

    // The use taken here is the child's hold on its owner.
    ZULRE_rcb_t *owner = nullptr;
    if (ownerHandle != 0) {
        owner = ZULRE_DisableRCB(rvt, ownerHandle, 1);
        if (owner == nullptr)
            return STC1_BadArgument;
    }

    ZULRE_rcb_t *rcb = ZULRE_NewRCB(rvt);
    if (rcb == nullptr) {
        if (owner != nullptr)
            ZULRE_Drop(rvt, owner, 1);
        return STC1_Shortage;
    }
    uint32_t handle = ZULRE_Handle(ZULRE_LoadLife(rcb));
    __atomic_store_n(&rcb->data, data, __ATOMIC_RELEASE);
    __atomic_store_n(&rcb->resClass, cls, __ATOMIC_RELEASE);

    if (owner != nullptr) {
        // Unless the resource joined its owner, the owner's use goes back
        // now; an orphan is made all the same, and destroyed at once.
        const int joined = join_owner(rvt, owner, rcb, handle);
        if (joined != kJoined)
            ZULRE_Drop(rvt, owner, 1);
        if (joined == kOrphan) {
            ownerHandle = 0;
            RES1_Destroy(handle);
        }
    }

    BSS1_GetLock(&rvt->lock);
    cls->activeResources++;
    BSS1_ReleaseLock(&rvt->lock);

    if (__atomic_load_n(&cls->debug, __ATOMIC_RELAXED) != 0) {
        // Written before the bit is set, so its state does not show it.
        RAS1_Log(&entry, __LINE__, RAS1_DETAIL, ZULRE_DEBUG_HEAD ", created, owner=%08lX\n",
                 cls->nameLength, cls->name, static_cast<unsigned long>(handle),
                 ZULRE_State(ZULRE_LoadLife(rcb)), data, static_cast<unsigned long>(ownerHandle));
        __atomic_fetch_or(&rcb->life, static_cast<uint64_t>(ZULRE_DEBUG) << 32, __ATOMIC_ACQ_REL);
    }

    *handleOut = handle;
    return STC1_Success;
}
