// zulracm - the ras1 console command: its table of subcommands, its
// registration, and ZULRA_Command, the one handler of all of them.
//
// An operator shows the capture ring, the filters, the units and the
// build records of a running process, and changes classes and filters,
// without a restart.  Everything goes to the console's format object;
// nothing here writes to the log.  Every subcommand ends with the default
// class, also one whose arguments were refused.
#include "ras/zulralg.h"

#include <zul/crf1.h>
#include <zul/lex1.h>

#include "internal/zulbuild.h"
#include "internal/zulcommands.h"
#include "internal/zulprint.h"

enum {
    SUB_DUMPCVT = 0,
    SUB_LOG = 1,
    SUB_LIST = 2,
    SUB_SET = 3,
    SUB_QXBLD = 4,
    SUB_UNITS = 5,
    SUB_REOPEN = 6,
    SUB_FLUSH = 7
};

// Registered in this order; the console lists the newest first.  An empty
// description keeps `dumpcvt` out of the usage list: it is for support.
static constinit const ZULCR_row_t kSubcommands[] = {
    {SUB_DUMPCVT, "dumpcvt", ""},
    {SUB_LOG, "log", "Display log capture buffer"},
    {SUB_LIST, "list", "List active filters"},
    {SUB_SET, "set", "Control traces and filters"},
    {SUB_QXBLD, "qxbld", "Show link unit build information"},
    {SUB_UNITS, "units", "List registered compilation units"},
    {SUB_REOPEN, "reopen", "Reopen the log file"},
    {SUB_FLUSH, "flush", "Write out the lines the log holds"},
};

// The labels of a build record's values, by index.
static constinit const char *const kBuildLabels[ZULRA_BUILD_VALUES] = {
    "build date",           "build time",
    "generated filename",   "environment filename",
    "target directory qualifier", "host directory qualifier",
    "user name",            "host release",
    "host version",         "host type",
    "machine name",         "host machine",
    "host environment code", "target environment code",
    "build sequence number", "component code",
    "build serial number",  "driver name",
};

// Records asked of RAS1_EnumInfo at a time.
#define ENUM_BATCH 128u

void ZULRA_ShowClass(ZULSS_format_t *format, uint32_t classes)
{
    const char *joint = "";
    for (const ZULRA_class_t *row = ZULRA_ClassTable(); classes != 0 && row->value != 0; row++) {
        if ((classes & row->value) != row->value)
            continue;
        ZULSS_Print(format, "%s%.*s", joint, row->minLength, row->text);
        joint = "+";
        classes &= ~row->value;
    }
    ZULSS_Print(format, "\n");
}

static void show_text(ZULSS_format_t *format, const char *label, const ZULRA_spe_t *spe)
{
    if (spe != nullptr)
        ZULSS_Print(format, ", %s=\"%.*s\"", label, spe->length, spe->text);
}

// The filters, lightest first, so that suspended ones (weight 0) lead.
static void show_filters(ZULRA_pcb_t *block, ZULSS_format_t *format)
{
    ZULSS_HOLD(&block->lock);
    const ZUL_links<ZULRA_filter_t> links = ZULRA_FilterLinks(block);
    for (ZULRA_filter_t *f = ZUL_Prev(links, links.head); f != links.head; f = ZUL_Prev(links, f)) {
        ZULSS_Print(format, "%08lX", static_cast<unsigned long>(f->id));
        show_text(format, "Unit", f->unitName);
        show_text(format, "Entry", f->entryName);
        show_text(format, "Level", f->levelName);
        show_text(format, "Comp", f->compName);
        ZULSS_Print(format, ", Class=");
        ZULRA_ShowClass(format, f->classes);
    }
}

// Writes one member of an enumeration list.
typedef void (*show_t)(ZULSS_format_t *format, const void *record);

static void show_unit(ZULSS_format_t *format, const void *record)
{
    const ZULRA_unit_t *u = static_cast<const ZULRA_unit_t *>(record);
    ZULSS_Print(format, "%.*s, %u, %.*s, %.*s, %.*s, %.*s\n", u->fileLen, u->file, u->format,
                u->dateLen, u->date, u->timeLen, u->time, u->levelLen, u->level, u->compLen,
                u->comp);
}

static void show_build(ZULSS_format_t *format, const void *record)
{
    const ZULRA_build_t *b = static_cast<const ZULRA_build_t *>(record);
    ZULSS_Print(format, "\nComponent code: %s\n%16s\n", ZULRA_BuildValue(b, ZULRA_BUILD_COMPONENT),
                "Values ...");
    for (uint32_t i = 0; i < b->valueCount && i < ZULRA_BUILD_VALUES; i++) {
        const char *value = ZULRA_BuildValue(b, i);
        if (i != ZULRA_BUILD_COMPONENT && value[0] != '\0')
            ZULSS_Print(format, "%32s: %s\n", kBuildLabels[i], value);
    }
    if (b->commentCount == 0 || b->comments == nullptr)
        return;
    ZULSS_Print(format, "\n%16s\n", "Comments ...");
    for (uint32_t i = 0; i < b->commentCount; i++)
        ZULSS_Print(format, "%32d: %s\n", i + 1, b->comments[i] ? b->comments[i] : "");
}

// Writes every member of enumeration list `list`, newest first, a batch
// at a time: RAS1_EnumInfo locks for each batch only.
static void show_list(ZULSS_format_t *format, uint32_t list, show_t show)
{
    void *records[ENUM_BATCH];
    uint32_t index = 0;
    for (;;) {
        uint32_t count = ENUM_BATCH;
        if (RAS1_EnumInfo(list, records, &index, &count) != STC1_Success)
            break;
        for (uint32_t i = 0; i < count; i++)
            show(format, records[i]);
    }
}

static int ZULRA_Command(ZULLX_list_t *list, ZULSS_format_t *format, ZULCR_request_t *request)
{
    ZULRA_pcb_t *block = static_cast<ZULRA_pcb_t *>(request->commandData);
    const ZULCR_row_t *row = static_cast<const ZULCR_row_t *>(request->subcommandData);
    int status = LEX1_OK;

    if (row->code == SUB_SET) {
        // What went wrong has been said on the console; the line still
        // gets its OK and a status of 0.
        (void)ZULRA_SetCommand(format, list);
        ZULSS_Print(format, "OK\n");
    } else {
        status = LEX1_Parse(format, list, LEX1_PARSE_WHOLE, 0, nullptr, nullptr, 0, nullptr,
                            nullptr, nullptr);
        if (status == LEX1_OK) {
            switch (row->code) {
            case SUB_DUMPCVT:
                BSS1_Dump(format, block, uint32_t{sizeof *block});
                break;
            case SUB_LOG:
                ZULRA_ShowCapture(block, format);
                break;
            case SUB_LIST:
                show_filters(block, format);
                break;
            case SUB_QXBLD:
                show_list(format, RAS1_LIST_BUILDS, show_build);
                break;
            case SUB_UNITS:
                show_list(format, RAS1_LIST_UNITS, show_unit);
                break;
            case SUB_REOPEN:
                status = ZULRA_ReopenTarget(format);
                break;
            case SUB_FLUSH:
                status = ZULRA_FlushTarget(format);
                break;
            }
        }
    }

    ZULSS_Print(format, "\nDefault trace class(es): ");
    ZULRA_ShowClass(format, __atomic_load_n(&block->defaultClass, __ATOMIC_RELAXED));
    return status;
}

void ZULRA_RegisterCommand(void *block)
{
    // The console's calls are traced.  Tracing is held off while they
    // run, so that the registration neither starts the trace, which would
    // give the process its default store before the program could
    // register a store of its own, nor writes lines for work that the
    // program did not ask for.  A failed registration leaves the trace
    // running without its command.
    (void)RAS1_Event(nullptr, __LINE__, RAS1_EVENT_SUSPEND);
    uint32_t command = 0;
    if (CRF1_Register(&command, nullptr, block, "ras1", 0,
                      "Manage RAS1 (Reliability, Availablity, Servicability)", 0) == 0)
        for (const ZULCR_row_t &row : kSubcommands)
            (void)CRF1_Subcommand(command, ZULRA_Command, const_cast<ZULCR_row_t *>(&row),
                                  row.name, 0, row.description, 0);
    (void)RAS1_Event(nullptr, __LINE__, RAS1_EVENT_RESUME);
}
