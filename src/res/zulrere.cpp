// RES1_Register: registers a resource class.
//
// A class stands in the RVT as an RCB of its own, with the class bit set
// and no use: its handle is what RES1_Create and RES1_Use are given, and
// it is never destroyed.
#include "res/zulre.h"
#include "internal/zulunits.h"

#include <stdlib.h>
#include <string.h>

ZULRA_RES1_UNIT("zulrere");

int RES1_Register(uint32_t *classOut, ZULRE_destructor_t destructor, const char *name,
                  uint32_t nameLength)
{
    ZULRE_ENTRY("RES1_Register");

    if (classOut == nullptr)
        return STC1_BadArgument;
    *classOut = 0;
    if (name == nullptr)
        return STC1_BadArgument;
    ZULRE_rvt_t *rvt = ZULRE_Rvt();
    if (rvt == nullptr)
        return STC1_Shortage;
    if (nameLength == 0)
        nameLength = static_cast<uint32_t>(strlen(name));

    RES1_Class *cls = static_cast<RES1_Class *>(malloc(sizeof(RES1_Class) + nameLength));
    if (cls == nullptr)
        return STC1_Shortage;
    ZULRE_rcb_t *rcb = ZULRE_NewRCB(rvt);
    if (rcb == nullptr) {
        free(cls);
        return STC1_Shortage;
    }

    char *text = reinterpret_cast<char *>(cls + 1);
    memcpy(text, name, nameLength);
    cls->next = nullptr;
    cls->rcb = rcb;
    cls->handle = ZULRE_Handle(ZULRE_LoadLife(rcb));
    cls->name = text;
    cls->nameLength = nameLength;
    cls->destructor = destructor;
    cls->debug = 0;
    cls->pendingDestroy = 0;
    cls->activeResources = 0;

    // The descriptor is complete before the class bit shows: a caller who
    // guessed the handle and finds the bit may use the descriptor at once.
    __atomic_store_n(&rcb->resClass, cls, __ATOMIC_RELEASE);
    __atomic_store_n(&rcb->data, static_cast<void *>(cls), __ATOMIC_RELEASE);
    __atomic_store_n(&rcb->owner, rcb, __ATOMIC_RELEASE);
    __atomic_fetch_or(&rcb->life, static_cast<uint64_t>(ZULRE_CLASS) << 32, __ATOMIC_ACQ_REL);
    ZULRE_EnableRCB(rvt, rcb, 1); // a class stands at use count 0

    BSS1_GetLock(&rvt->lock);
    __atomic_store_n(&cls->debug, ZULRE_DebugNamed(rvt, text, nameLength), __ATOMIC_RELAXED);
    cls->next = rvt->classes;
    rvt->classes = cls;
    BSS1_ReleaseLock(&rvt->lock);

    *classOut = cls->handle;
    return STC1_Success;
}
