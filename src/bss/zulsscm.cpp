// The bss1 console command: its table of subcommands, its one handler,
// and ZULSS_RegisterCommand, which registers it once the BSS1 block has
// been built.
//
//   dumpcvt            the first 32 bytes of the BSS1 block (not listed)
//   abend <pid>        ends the process with a memory fault (not listed)
//   getenv NAME ...    the value of each setting
//   info               the facts that head the log
//   config [NAME | NAME=value] ...   shows or sets configuration variables
#include "bss/zulss.h"
#include "internal/zulcommands.h"
#include "internal/zulprint.h"

#include <zul/crf1.h>

#include <stdlib.h>
#include <string.h>

enum { kDumpCvt = 0, kAbend = 1, kGetEnv = 2, kInfo = 3, kConfig = 4 };

static const ZULCR_row_t kRows[] = {
    {kDumpCvt, "dumpcvt", ""},
    {kAbend, "abend", ""},
    {kGetEnv, "getenv", "Display environment variable"},
    {kInfo, "info", "Display BSS1_Info data"},
    {kConfig, "config", "Manage configuration variables"},
};

// Never set: abend stores through it to raise a memory fault on the
// calling thread, which takes the road of any unhandled fault.
static constinit int *volatile nowhere = nullptr;

// Takes no argument, or exactly one positional, from the whole list.
static int take_whole(ZULSS_format_t *format, ZULLX_list_t *list, uint32_t minimum,
                      ZULLX_arg_t **arg)
{
    return LEX1_Parse(format, list, LEX1_PARSE_WHOLE, minimum, nullptr, arg, 0, nullptr, nullptr,
                      nullptr);
}

static void show_variable(ZULSS_format_t *format, const char *name)
{
    const char *value = nullptr;
    uint32_t length = 0;
    int32_t status = 0;
    if (BSS1_ConfigQuery(name, &value, &length, &status) != STC1_Success)
        ZULSS_PRINT(format, "Configuration variable %s not defined\n", name);
    else if (status != 0)
        ZULSS_PRINT(format, "Config variable %s = \"%.*s\" (Invalid)\n", name, length, value);
    else
        ZULSS_PRINT(format, "Config variable %s = \"%.*s\"\n", name, length, value);
}

// name=value: sets the variable and shows it.  A value that the handler
// refuses is stored and shown as invalid; "Unable to set" means that the
// value was not stored at all (no such variable, or no memory).
static int set_variable(ZULSS_format_t *format, ZULLX_arg_t *keyword)
{
    ZULLX_arg_t *value = nullptr;
    int status = take_whole(format, keyword->values, 1, &value);
    if (status != LEX1_OK)
        return status;
    if (BSS1_ConfigSet(keyword->text, value->text, value->length) != STC1_Success) {
        const char *now = nullptr;
        uint32_t length = 0;
        if (BSS1_ConfigQuery(keyword->text, &now, &length, nullptr) != STC1_Success ||
            length != value->length || (length != 0 && memcmp(now, value->text, length) != 0)) {
            ZULSS_PRINT(format, "Unable to set %s to %s\n", keyword->text, value->text);
            return LEX1_OK;
        }
    }
    show_variable(format, keyword->text);
    return LEX1_OK;
}

static int config(ZULSS_format_t *format, ZULLX_list_t *list)
{
    uint32_t handled = 0;
    int status;
    for (;;) {
        ZULLX_arg_t *positional = nullptr, *keyword = nullptr;
        uint32_t positionals = 1, keywords = 1;
        status = LEX1_Parse(format, list, 0, 0, &positionals, &positional, 0, &keywords, &keyword,
                            nullptr);
        if (status != LEX1_OK)
            break;
        if (positionals != 0) {
            handled++;
            show_variable(format, positional->text);
        }
        if (keywords != 0) {
            handled++;
            if ((status = set_variable(format, keyword)) != LEX1_OK)
                return status;
        }
    }
    if (status == LEX1_End && handled == 0) {
        ZULSS_PRINT(format, "Registered configuration variables:\n\n");
        const char *name = nullptr;
        for (uint32_t cursor = 0; BSS1_ConfigEnum(&cursor, &name) == STC1_Success;)
            show_variable(format, name);
    }
    return status;
}

// The store through null is the point: a build that checks for undefined
// behaviour must fault here too, not stop with its own report.
__attribute__((no_sanitize("undefined"))) static int abend(ZULSS_format_t *format, ZULLX_list_t *list)
{
    ZULLX_arg_t *arg = nullptr;
    int status = take_whole(format, list, 1, &arg);
    if (status != LEX1_OK)
        return status;
    char id[32];
    uint32_t length = BSS1_Info(BSS1_INFO_PROCESSID, id, sizeof id);
    if (length != 0 && length < sizeof id && length == arg->length &&
        memcmp(id, arg->text, length) == 0) {
        *nowhere = 0;
        abort();
    }
    ZULSS_PRINT(format, "Authorization failed\n");
    return LEX1_OK;
}

static int bss1_handler(ZULLX_list_t *list, ZULSS_format_t *format, ZULCR_request_t *request)
{
    const ZULCR_row_t *row = static_cast<const ZULCR_row_t *>(request->subcommandData);
    int status = LEX1_OK;
    switch (row->code) {
    case kDumpCvt:
        if ((status = take_whole(format, list, 0, nullptr)) == LEX1_OK)
            BSS1_Dump(format, request->commandData, 32);
        break;
    case kAbend:
        status = abend(format, list);
        break;
    case kGetEnv: {
        // The first argument is required; after it the end of the list
        // ends the walk without a message.
        ZULLX_arg_t *arg = nullptr;
        for (uint32_t flags = 0;; flags = LEX1_PARSE_QUIET) {
            status = LEX1_Parse(format, list, flags, 1, nullptr, &arg, 0, nullptr, nullptr, nullptr);
            if (status != LEX1_OK)
                break;
            ZULSS_PRINT(format, "%.*s=\"%s\"\n", arg->length, arg->text, BSS1_LocateEnv(arg->text));
        }
        break;
    }
    case kInfo:
        if ((status = take_whole(format, list, 0, nullptr)) == LEX1_OK)
            BSS1_DisplayEnvironment(format);
        break;
    case kConfig:
        status = config(format, list);
        break;
    default:
        break;
    }
    return status;
}

void ZULSS_RegisterCommand(void *pcb)
{
    // The results are not looked at: without the command the family works
    // all the same.
    uint32_t command = 0;
    if (CRF1_Register(&command, nullptr, pcb, "bss1", 0, "Manage BSS1 (Basic System Services)",
                      0) != CRF1_OK)
        return;
    for (const ZULCR_row_t &row : kRows)
        CRF1_Subcommand(command, bss1_handler, const_cast<ZULCR_row_t *>(&row), row.name, 0,
                        row.description, 0);
}
