// internal/zulunits.h - how the library's own source units declare
// themselves to the trace: unit kinds, component names and level.
#ifndef ZUL_SRC_INTERNAL_ZULUNITS_H
#define ZUL_SRC_INTERNAL_ZULUNITS_H

#include <zul/ras1.h>

#include "internal/zulbuild.h"

// Unit kinds of the library's families.
#define ZULRA_KINDS_BSS1 RAS1_LIBRARY
#define ZULRA_KINDS_CRF1 (RAS1_SUBSYSTEM | RAS1_LIBRARY | RAS1_PROBE)
#define ZULRA_KINDS_PFM1 (RAS1_LIBRARY | RAS1_TOOLKIT)
#define ZULRA_KINDS_SIG1 (RAS1_LIBRARY | RAS1_TOOLKIT)
#define ZULRA_KINDS_RES1 (RAS1_KERNEL | RAS1_OBJECT)

// The revision level that the library's units carry.
#define ZULRA_UNIT_LEVEL "1"

// One line per source unit of the library.  `file` is the unit's name as
// the log and the UNIT filter see it, e.g. "zulssge".
#define ZULRA_BSS1_UNIT(file) RAS1_DECLARE_UNIT_EX(file, ZULRA_KINDS_BSS1, ZULRA_UNIT_LEVEL, "BSS1", ZULRA_BuildInfo)
#define ZULRA_CRF1_UNIT(file) RAS1_DECLARE_UNIT_EX(file, ZULRA_KINDS_CRF1, ZULRA_UNIT_LEVEL, "*", ZULRA_BuildInfo)
#define ZULRA_PFM1_UNIT(file) RAS1_DECLARE_UNIT_EX(file, ZULRA_KINDS_PFM1, ZULRA_UNIT_LEVEL, "PFM1", ZULRA_BuildInfo)
#define ZULRA_SIG1_UNIT(file) RAS1_DECLARE_UNIT_EX(file, ZULRA_KINDS_SIG1, ZULRA_UNIT_LEVEL, "SIG1", ZULRA_BuildInfo)
#define ZULRA_RES1_UNIT(file) RAS1_DECLARE_UNIT_EX(file, ZULRA_KINDS_RES1, ZULRA_UNIT_LEVEL, "RES1", ZULRA_BuildInfo)
// The expression parser's unit.
#define ZULRA_PARSER_UNIT(file) RAS1_DECLARE_UNIT_EX(file, 0, ZULRA_UNIT_LEVEL, "RAS1C", ZULRA_BuildInfo)
// The unit of the trace's start and build banner: its name is "RAS1".
#define ZULRA_START_UNIT() RAS1_DECLARE_UNIT_EX("RAS1", 0, ZULRA_UNIT_LEVEL, "ZUL", ZULRA_BuildInfo)
// The failure report's unit.
#define ZULRA_REPORT_UNIT(file) RAS1_DECLARE_UNIT_EX(file, 0, ZULRA_UNIT_LEVEL, "*", ZULRA_BuildInfo)

#endif
