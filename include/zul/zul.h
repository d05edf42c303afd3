/*
 * zul/zul.h - the whole public interface of libzul.
 *
 * Includes every family header.  Each compiles as C11 and as C++20.
 */
#ifndef ZUL_ZUL_H
#define ZUL_ZUL_H

#include <zul/version.h>
#include <zul/stc1.h>
#include <zul/rsn1.h>
#include <zul/bss1.h>
#include <zul/thb1.h>
#include <zul/ras1.h>
#include <zul/lex1.h>
#include <zul/prm1.h>
#include <zul/res1.h>
#include <zul/anc1.h>
#include <zul/crf1.h>
#include <zul/sig1.h>
#include <zul/pfm1.h>

#endif /* ZUL_ZUL_H */
