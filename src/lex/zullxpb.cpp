// The process block of the LEX1 family: the default class table that
// every new scanner copies.
#include "lex/zullx.h"

// Words of the bytes that hold more than one class or none of the
// single-bit ones; the rest follow from the row they stand in.
static uint16_t default_class(unsigned byte)
{
    if (byte == '\t' || byte == ' ')
        return LEX1_CLASS_SPACE;
    if (byte == '\n' || byte == '\f' || byte == '\r')
        return LEX1_CLASS_LINEEND | LEX1_CLASS_SPACE;
    if (byte == '0' || byte == '1')
        return LEX1_CLASS_BINARY | LEX1_CLASS_OCTAL | LEX1_CLASS_DIGIT;
    if (byte >= '2' && byte <= '7')
        return LEX1_CLASS_OCTAL | LEX1_CLASS_DIGIT;
    if (byte == '8' || byte == '9')
        return LEX1_CLASS_DIGIT;
    if (byte >= 'A' && byte <= 'Z')
        return LEX1_CLASS_IDENT | LEX1_CLASS_UPPER | (byte <= 'F' ? LEX1_CLASS_HEX : 0);
    if (byte >= 'a' && byte <= 'z')
        return LEX1_CLASS_IDENT | LEX1_CLASS_LOWER | (byte <= 'f' ? LEX1_CLASS_HEX : 0);
    switch (byte) {
    case '#': case '$': case '@': case '_':
        return LEX1_CLASS_IDENT;
    case '"': case '\'':
        return LEX1_CLASS_QUOTE;
    case '\\':
        return LEX1_CLASS_ESCAPE;
    case '!': case '%': case '&': case '*': case '+': case '-': case '.': case '/': case ':':
    case '<': case '=': case '>': case '?': case '^': case '~': case '`': case '|':
        return LEX1_CLASS_OPERATOR;
    case '(': case ')': case ',': case ';': case '[': case ']': case '{': case '}':
        return LEX1_CLASS_PUNCT;
    default:
        return LEX1_CLASS_OTHER;
    }
}

static void construct_pcb(void *block)
{
    ZULLX_pcb_t *pcb = static_cast<ZULLX_pcb_t *>(block);
    for (unsigned byte = 0; byte < 256; ++byte)
        pcb->classes[byte] = default_class(byte);
    pcb->flags |= 1u;
}

static constinit ZULSS_descriptor_t pcbDescriptor = {sizeof(ZULLX_pcb_t), construct_pcb,
                                                     nullptr, 0, 0};

const ZULLX_pcb_t *ZULLX_Pcb(void)
{
    return static_cast<const ZULLX_pcb_t *>(ZULSS_PROCESS_BLOCK(&pcbDescriptor));
}
