// zulrecm - the res1 console command: its handler, which shows the
// classes and their live resources, and ZULRE_RegisterCommand, which
// registers it once the RVT has been built.
//
// The unit belongs to the resources' folder and traces as one of them,
// but links with the other commands of the library above the console
// (internal/zulcommands.h).
#include "res/zulre.h"
#include "internal/zulcommands.h"
#include "internal/zulprint.h"
#include "internal/zulunits.h"

#include <zul/crf1.h>

ZULRA_RES1_UNIT("zulrecm");

// The handler of the res1 command.  With no arguments it lists the
// classes; with class names, the live resources of each.  The lock is
// held throughout, so the listing is one moment of the table.
static int show_status(ZULLX_list_t *list, ZULSS_format_t *format, ZULCR_request_t *request)
{
    RAS1_DECLARE_ENTRY(entry, "show_status", RAS1_PRIVATE);
    RAS1_QUICK(entry, classes, flow);
    ZULRE_rvt_t *rvt = static_cast<ZULRE_rvt_t *>(request->commandData);

    ZULSS_HOLD(&rvt->lock);
    if (list == nullptr || list->first == nullptr) {
        for (const RES1_Class *cls = rvt->classes; cls != nullptr; cls = cls->next)
            ZULSS_Print(format,
                        ZULRE_DEBUG_HEAD ", debug=%d, pendingDestroy=%u, activeResources=%u\n",
                        static_cast<int>(cls->nameLength), cls->name, static_cast<unsigned long>(cls->handle),
                        ZULRE_LoadState(cls->rcb), cls->rcb->data, cls->debug, cls->pendingDestroy,
                        cls->activeResources);
    }
    for (const ZULLX_arg_t *arg = list ? list->first : nullptr; arg != nullptr; arg = arg->next) {
        if (arg->type == LEX1_ARG_LIST)
            continue;
        const int length = static_cast<int>(arg->length);
        int found = ZULRE_EachClassNamed(rvt, arg->text, arg->length, [&](RES1_Class *cls) {
            if (cls->activeResources == 0) {
                ZULSS_Print(format, "%.*s has no active resources\n", length, arg->text);
                return;
            }
            ZULRE_EachLiveRCB(rvt, [&](ZULRE_rcb_t *rcb) {
                if (__atomic_load_n(&rcb->resClass, __ATOMIC_ACQUIRE) == cls)
                    ZULSS_Print(format, ZULRE_DEBUG_HEAD "\n", static_cast<int>(cls->nameLength),
                                cls->name, static_cast<unsigned long>(ZULRE_Handle(ZULRE_LoadLife(rcb))),
                                ZULRE_LoadState(rcb), __atomic_load_n(&rcb->data, __ATOMIC_RELAXED));
            });
        });
        if (found == 0)
            ZULSS_Print(format, "%.*s not found\n", length, arg->text);
    }
    return 0;
}

void ZULRE_RegisterCommand(void *rvt)
{
    (void)CRF1_Register(nullptr, show_status, rvt, "res1", 0,
                        "Display status of RES1 logical resource manager", 0);
}
