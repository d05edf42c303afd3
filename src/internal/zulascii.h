// internal/zulascii.h - the case of ASCII letters, white space and
// punctuation, whatever the locale.
//
// Names of settings, units, classes, commands and signals are ASCII, and
// the library compares and shows them the same under every locale.  The
// C library's toupper, tolower and isspace follow the locale that the
// program has set: under a Turkish locale toupper('i') is not 'I', and
// under a Latin-1 locale bytes above 0x7F become letters or blanks.  These
// touch ASCII only, as the C locale has it.  BSS1_Match, the one
// comparison of names, folds with ZUL_AsciiUpper.
#ifndef ZUL_SRC_INTERNAL_ZULASCII_H
#define ZUL_SRC_INTERNAL_ZULASCII_H

static inline unsigned char ZUL_AsciiUpper(unsigned char c)
{
    return (c >= 'a' && c <= 'z') ? static_cast<unsigned char>(c - ('a' - 'A')) : c;
}

static inline unsigned char ZUL_AsciiLower(unsigned char c)
{
    return (c >= 'A' && c <= 'Z') ? static_cast<unsigned char>(c + ('a' - 'A')) : c;
}

// The white space of the C locale: blank, tab, the line ends, vertical
// tab and form feed.
static inline int ZUL_AsciiSpace(unsigned char c)
{
    return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\v' || c == '\f';
}

// The punctuation of the C locale: the printable characters other than
// letters, digits and the blank.
static inline int ZUL_AsciiPunct(unsigned char c)
{
    return (c >= 0x21 && c <= 0x2F) || (c >= 0x3A && c <= 0x40) || (c >= 0x5B && c <= 0x60) ||
           (c >= 0x7B && c <= 0x7E);
}

#endif
