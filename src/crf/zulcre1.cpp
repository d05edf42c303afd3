// CRF1_Execute: runs one command line on a console.
//
// The first token names the command: `?` lists the commands, an
// identifier selects the one command whose name it begins (case does not
// count).  The rest of the line becomes an argument tree.  A command with
// a handler of its own gets the whole tree; otherwise each subcommand
// word, alone or as the head of a parenthesised list, runs its
// subcommand's handler.  Everything goes to the console's format object,
// which is flushed before the call returns.
#include "crf/zulcr.h"
#include "internal/zulunits.h"
#include "internal/zulprint.h"

#include <stdlib.h>
#include <string.h>

ZULRA_CRF1_UNIT("zulcre1");

// The `?` listing: every command with a description, in order of
// registration.
static void list_commands(ZULCR_cvt_t *cvt, ZULSS_format_t *format)
{
    ZULSS_HOLD(&cvt->lock);
    const ZUL_links<ZULCR_mcb_t> commands = ZULCR_Commands(cvt);
    for (ZULCR_mcb_t *c = ZUL_Next(commands, commands.head); c != commands.head; c = ZUL_Next(commands, c))
        if (c->state == ZULCR_LIVE && c->descriptionLength != 0)
            ZULSS_PRINT(format, "%16.*s: %.*s\n", c->nameLength, c->name, c->descriptionLength,
                        c->description);
}

// The usage text of a command with subcommands, newest subcommand first.
static void print_usage(ZULCR_cvt_t *cvt, ZULCR_mcb_t *mcb, ZULSS_format_t *format)
{
    ZULSS_PRINT(format,
                "\nusage: %s <subcommand> ...\n   or: %s (<subcommand> ...) (<subcommand> ...) "
                "...\n\nsubcommand list:\n\n",
                mcb->name, mcb->name);
    ZULSS_HOLD(&cvt->lock);
    for (ZULCR_scb_t *s = mcb->subcommands; s != nullptr; s = s->next)
        if (s->descriptionLength != 0)
            ZULSS_PRINT(format, "%20s: %s\n", s->name, s->description);
}

// The subcommand of `mcb` named by the word, or null.
static ZULCR_scb_t *find_subcommand(ZULCR_cvt_t *cvt, ZULCR_mcb_t *mcb, const ZULLX_arg_t *arg)
{
    ZULSS_HOLD(&cvt->lock);
    for (ZULCR_scb_t *s = mcb->subcommands; s != nullptr; s = s->next)
        if (s->nameLength == arg->length && BSS1_Match(s->name, arg->text, arg->length) == 0)
            return s;
    return nullptr;
}

// Runs the subcommands that the tree names, one level of lists at a time.
// The result is that of the last handler run, or of the LEX1_Parse that
// found no subcommand word.
static int run_subcommands(ZULCR_cvt_t *cvt, ZULCR_mcb_t *mcb, ZULLX_list_t *root,
                           ZULSS_format_t *format, ZULCR_request_t *request)
{
    int status = CRF1_OK;
    ZULLX_list_t *list = root;
    for (;;) {
        ZULLX_arg_t *arg = nullptr;
        status = LEX1_Parse(format, list, LEX1_PARSE_LISTS, 1, nullptr, &arg, 0, nullptr,
                            nullptr, nullptr);
        if (status != LEX1_OK) {
            print_usage(cvt, mcb, format); // the parser's message is out already
            return status;
        }
        if (arg->type == LEX1_ARG_LIST) {
            list = arg->sublist;
            continue;
        }
        ZULCR_scb_t *found = find_subcommand(cvt, mcb, arg);
        if (found == nullptr) {
            ZULSS_PRINT(format, "subcommand %.*s not recognized\n", arg->length, arg->text);
            return CRF1_OK;
        }
        request->subcommandData = found->data;
        status = found->handler(list, format, request);
        list = list->next;
        if (list == nullptr || list->count == 0)
            return status;
    }
}

// Finds the one live command whose name begins with the word and takes a
// use of it.  CRF1_OK with *found set, CRF1_Ambiguous or CRF1_NotFound.
// A command destroyed in the moment between the walk and the use counts
// as not found.
static int find_command(ZULCR_cvt_t *cvt, const char *word, uint32_t length, ZULCR_mcb_t **found)
{
    uint32_t hits;
    ZULSS_HOLD(&cvt->lock);
    ZULCR_mcb_t *hit = ZULCR_FindCommand(cvt, word, length, &hits);
    *found = hit;
    if (hits > 1)
        return CRF1_Ambiguous;
    if (hits == 0)
        return CRF1_NotFound;
    if (hit->resource != 0 && RES1_Use(hit->resource, cvt->commandClass, nullptr) != STC1_Success)
        return CRF1_NotFound;
    return CRF1_OK;
}

// Everything after the scanner has been made: the line's status.
static int run_line(ZULCR_cvt_t *cvt, ZULLX_handle_t scanner, uint32_t console,
                    ZULSS_format_t *format, const char *text, uint32_t length)
{
    int status;
    const ZULLX_token_t *token = nullptr;
    uint32_t delivered = 0;
    if ((status = LEX1_String(scanner, text, length)) != LEX1_OK) {
        ZULSS_PRINT(format, "LEX1_String status code %u\n", status);
    } else if ((status = LEX1_Token(scanner, &token, 1, &delivered)) != LEX1_OK) {
        ZULSS_PRINT(format, "LEX1_Token status code %u\n", status);
    } else if (token->kind == LEX1_KIND_OPERATOR && token->length == 1 && token->text[0] == '?') {
        list_commands(cvt, format);
    } else if (token->kind != LEX1_KIND_IDENTIFIER) {
        ZULSS_PRINT(format, "LEX1_String status code %u,%u,%u,'%.*s'\n", status, token->kind,
                    token->length, token->length, token->text);
    } else {
        ZULCR_mcb_t *mcb = nullptr;
        status = find_command(cvt, token->text, token->length, &mcb);
        if (status == CRF1_Ambiguous) {
            ZULSS_PRINT(format, "Command %.*s is ambiguous\n", token->length, token->text);
        } else if (status == CRF1_NotFound) {
            ZULSS_PRINT(format, "Command %.*s not found\n", token->length, token->text);
        } else {
            // The token's slot is reused while the tree is read, so the
            // word is kept here.  It is no longer than the command's name.
            char word[64];
            uint32_t wordLength = token->length;
            char *saved = wordLength <= sizeof word ? word : static_cast<char *>(malloc(wordLength));
            if (saved != nullptr)
                memcpy(saved, token->text, wordLength);
            else
                saved = const_cast<char *>(mcb->name); // the same name but for case
            ZULLX_list_t *root = nullptr;
            status = LEX1_ArgList(scanner, &root);
            if (status != LEX1_OK) {
                ZULSS_PRINT(format, "LEX1_ArgList(%u): %.*s not found\n", status, wordLength,
                            saved);
            } else {
                ZULCR_request_t request;
                memset(&request, 0, sizeof request);
                request.size = sizeof request;
                request.commandData = mcb->data;
                request.console = console;
                if (mcb->handler != nullptr)
                    mcb->handler(root, format, &request); // its result is not the line's
                else
                    status = run_subcommands(cvt, mcb, root, format, &request);
                LEX1_FreeArgList(root);
            }
            if (saved != word && saved != mcb->name)
                free(saved);
            if (mcb->resource != 0)
                RES1_Drop(mcb->resource);
        }
    }
    return status;
}

int CRF1_Execute(uint32_t console, const char *text, uint32_t length, uint32_t *count)
{
    ZULCR_ENTRY("CRF1_Execute", RAS1_PUBLIC);
    ZULCR_cvt_t *cvt;
    void *record = nullptr;
    int status = ZULCR_Open(console, ZULCR_CONSOLE, &cvt, &record);
    if (status != CRF1_OK)
        ZULCR_RETURN(status);
    ZULCR_ccb_t *ccb = static_cast<ZULCR_ccb_t *>(record);
    ZULSS_format_t *format = ccb->format;

    ZULLX_handle_t scanner = {nullptr, 0};
    if (LEX1_New(&scanner, 2, nullptr, nullptr) != LEX1_OK) {
        status = CRF1_NoOutputMemory;
        ZULSS_PRINT(format, "Status code %u returned from LEX1_Scan\n", status);
    } else {
        status = run_line(cvt, scanner, console, format, text, length);
        LEX1_Delete(&scanner);
    }
    BSS1_FlushFormat(format);
    if (count != nullptr)
        *count = ccb->pending;
    RES1_Drop(console);
    ZULCR_RETURN(status);
}
