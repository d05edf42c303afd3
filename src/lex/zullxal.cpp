// LEX1_ArgList: reads the rest of a scanner's top input into a tree of
// arguments.
//
// Words become scalar arguments; an identifier followed by a lone = or :
// becomes a keyword whose value list takes the one argument that follows;
// parentheses open and close sublists.  Other punctuation and operators
// are dropped.
#include "lex/zullx.h"

#include <string.h>

// Puts `arg` behind the last argument of `list`.  While a list is being
// built `first` holds its last argument, whose `next` closes the circle.
static void append(ZULLX_list_t *list, ZULLX_arg_t *arg)
{
    if (list->first == nullptr) {
        arg->next = arg;
    } else {
        arg->next = list->first->next;
        list->first->next = arg;
    }
    list->first = arg;
    list->count++;
}

// Turns the circle into a plain chain from its first argument.
static void close_list(ZULLX_list_t *list)
{
    ZULLX_arg_t *last = list->first;
    if (last != nullptr) {
        list->first = last->next;
        last->next = nullptr;
    }
}

// Closes every list that is complete: a keyword's value list once it
// holds its argument, a parenthesised list once it has been closed.
static ZULLX_list_t *close_complete(ZULLX_list_t *current)
{
    while (current->depth == 0) {
        close_list(current);
        current = current->parent;
    }
    return current;
}

// A new list below `current`, held by `owner`.
static ZULLX_list_t *new_list(ZULLX_list_t *root, ZULLX_list_t *current, ZULLX_arg_t *owner,
                              int32_t depth)
{
    ZULLX_list_t *list = static_cast<ZULLX_list_t *>(ZULLX_Carve(root, sizeof(ZULLX_list_t)));
    if (list == nullptr)
        return nullptr;
    list->next = current;
    list->parent = current;
    list->owner = owner;
    list->root = root;
    list->depth = depth;
    return list;
}

static bool is_byte(const ZULLX_token_t *token, uint32_t kind, char byte)
{
    return token->kind == kind && token->length == 1 && token->text[0] == byte;
}

// The root list, which owns the blocks that every list and argument of
// the tree is carved from; null without memory.
static ZULLX_list_t *new_root(void)
{
    // The root is carved from a chain that a stand-in header holds until
    // the root exists and takes it over.
    ZULLX_list_t standIn = {};
    ZULLX_list_t *root = static_cast<ZULLX_list_t *>(ZULLX_Carve(&standIn, sizeof(ZULLX_list_t)));
    if (root == nullptr)
        return nullptr;
    root->blocks = standIn.blocks;
    root->root = root;
    root->depth = -1;
    return root;
}

// A scalar argument that holds a copy of the token's text; null without
// memory.
static ZULLX_arg_t *new_scalar(ZULLX_list_t *root, const ZULLX_token_t *token)
{
    ZULLX_arg_t *arg = static_cast<ZULLX_arg_t *>(
        ZULLX_Carve(root, sizeof(ZULLX_arg_t) + static_cast<size_t>(token->length) + 1));
    if (arg == nullptr)
        return nullptr;
    arg->type = LEX1_ARG_SCALAR;
    arg->text = reinterpret_cast<char *>(arg + 1);
    if (token->length != 0)
        memcpy(arg->text, token->text, token->length);
    arg->length = token->length;
    arg->line = token->line;
    arg->column = token->column;
    arg->kind = token->kind;
    arg->classes = token->classes;
    return arg;
}

// Where the reading of a tree stands: the root, the list that takes the
// next argument, and tokens still to pass over.
typedef struct {
    ZULLX_list_t *root;
    ZULLX_list_t *current;
    uint32_t skip;
} reading_t;

// Opens a parenthesised list: an argument of the current list, and the
// list that takes the arguments up to its ")".
static int open_list(reading_t *r)
{
    ZULLX_arg_t *arg = static_cast<ZULLX_arg_t *>(ZULLX_Carve(r->root, sizeof(ZULLX_arg_t)));
    ZULLX_list_t *list = arg != nullptr ? new_list(r->root, r->current, arg, 1) : nullptr;
    if (list == nullptr)
        return LEX1_NoMemory;
    arg->type = LEX1_ARG_LIST;
    arg->sublist = list;
    append(r->current, arg);
    r->current = list;
    return LEX1_OK;
}

// Takes one token, with the token after it in view.
static int take_token(reading_t *r, const ZULLX_token_t *token, const ZULLX_token_t *after)
{
    if (is_byte(token, LEX1_KIND_PUNCTUATION, '('))
        return open_list(r);
    if (is_byte(token, LEX1_KIND_PUNCTUATION, ')')) {
        if (r->current == r->root)
            return LEX1_Unbalanced;
        r->current->depth--;
        r->current = close_complete(r->current);
        return LEX1_OK;
    }
    if (token->kind == LEX1_KIND_OPERATOR || token->kind == LEX1_KIND_PUNCTUATION)
        return LEX1_OK;

    ZULLX_arg_t *arg = new_scalar(r->root, token);
    if (arg == nullptr)
        return LEX1_NoMemory;
    append(r->current, arg);
    if (token->kind == LEX1_KIND_IDENTIFIER &&
        (is_byte(after, LEX1_KIND_OPERATOR, '=') || is_byte(after, LEX1_KIND_OPERATOR, ':'))) {
        // A keyword: its value list stays open for the next argument, and
        // the = or : is passed over.
        ZULLX_list_t *values = new_list(r->root, r->current, arg, 0);
        if (values == nullptr)
            return LEX1_NoMemory;
        arg->type = LEX1_ARG_KEYWORD;
        arg->values = values;
        r->current = values;
        r->skip = 1;
        return LEX1_OK;
    }
    r->current = close_complete(r->current);
    return LEX1_OK;
}

int LEX1_ArgList(ZULLX_handle_t handle, ZULLX_list_t **result)
{
    if (result == nullptr)
        return LEX1_BadArgument;
    *result = nullptr;
    if (ZULLX_Scanner(handle) == nullptr)
        return LEX1_BadHandle;

    reading_t r = {new_root(), nullptr, 0};
    if (r.root == nullptr)
        return LEX1_NoMemory;
    r.current = r.root;
    int status;
    for (;;) {
        const ZULLX_token_t *tokens[3];
        uint32_t delivered;
        status = LEX1_Token(handle, tokens, 3, &delivered);
        if (status != LEX1_OK)
            break;
        if (r.skip != 0) {
            --r.skip;
            continue;
        }
        status = take_token(&r, tokens[0], tokens[1]);
        if (status != LEX1_OK)
            break;
    }

    // A list still open when the reading stops is unbalanced, whatever
    // stopped it: a string cut off by the end of the line inside
    // parentheses is 7, and 6 only at the top level.
    ZULLX_list_t *root = r.root;
    if (close_complete(r.current) != root) {
        status = LEX1_Unbalanced;
    } else if (status == LEX1_OK || status == LEX1_End) {
        close_list(root);
        *result = root;
        return LEX1_OK;
    }
    ZULLX_FreeBlocks(static_cast<ZULLX_block_t *>(root->blocks));
    return status;
}
