// The library's own traced functions as operators select them: after a
// run that calls each of them, the list of entries that the trace has met
// names every function with its source unit, the unit's kinds and
// component, and the function's entry kind.  A UNIT filter typed at the
// console selects by these unit names, and an entry-kind filter by these
// kinds.
#include <zul/bss1.h>
#include <zul/crf1.h>
#include <zul/ras1.h>
#include <zul/sig1.h>

#include <gtest/gtest.h>

#include <map>
#include <string>

namespace {

struct Traced { const char *unit; uint32_t unitClasses; const char *comp; uint32_t kind; };

constexpr uint32_t kConsole = RAS1_SUBSYSTEM | RAS1_LIBRARY | RAS1_PROBE;
constexpr uint32_t kBasic = RAS1_LIBRARY;
constexpr uint32_t kSignals = RAS1_LIBRARY | RAS1_TOOLKIT;
constexpr uint32_t kResources = RAS1_KERNEL | RAS1_OBJECT;

// The functions that run at every use.  The console's registry is built
// while the library registers its own commands, with tracing held off, so
// its constructor's records are never met.
const std::map<std::string, Traced> kTraced = {
    {"CRF1_Delete", {"zulcrd1", kConsole, "*", RAS1_PUBLIC}},
    {"CRF1_Execute", {"zulcre1", kConsole, "*", RAS1_PUBLIC}},
    {"CRF1_Fetch", {"zulcrf1", kConsole, "*", RAS1_PUBLIC}},
    {"CRF1_New", {"zulcrn1", kConsole, "*", RAS1_PUBLIC}},
    {"write_format", {"zulcrn1", kConsole, "*", RAS1_PRIVATE}},
    {"CRF1_Register", {"zulcrr1", kConsole, "*", RAS1_PUBLIC}},
    {"CRF1_Subcommand", {"zulcrs1", kConsole, "*", RAS1_PUBLIC}},
    {"CRF1_Unregister", {"zulcru1", kConsole, "*", RAS1_PUBLIC}},
    {"ZULCR_Register", {"zulcreg", kConsole, "*", RAS1_PRIVATE}},
    {"ZULCR_ManagerDestructor", {"zulcrmd", kConsole, "*", RAS1_PRIVATE}},
    {"ZULCR_ConsoleDestructor", {"zulcrcd", kConsole, "*", RAS1_PRIVATE}},
    {"BSS1_GetEnv", {"zulssge", kBasic, "BSS1", RAS1_PUBLIC}},
    {"SIG1C_InitMemory", {"zulsgnp", kSignals, "SIG1", RAS1_PRIVATE}},
    {"set_debug", {"zulre0i", kResources, "RES1", RAS1_PRIVATE}},
};

int Handler(ZULLX_list_t *, ZULSS_format_t *format, ZULCR_request_t *)
{
    return BSS1_PrintFormat(format, "done\n"), 0;
}

TEST(LibraryUnits, EachTracedFunctionCarriesItsUnitAndKinds)
{
    uint32_t console = 0, command = 0;
    ASSERT_EQ(CRF1_New(&console), CRF1_OK);
    ASSERT_EQ(CRF1_Register(&command, nullptr, nullptr, "units", 0, "Units test", 0), CRF1_OK);
    ASSERT_EQ(CRF1_Subcommand(command, Handler, nullptr, "run", 0, nullptr, 0), CRF1_OK);
    ASSERT_EQ(CRF1_Execute(console, "units run", 9, nullptr), CRF1_OK);
    char buffer[64];
    uint32_t count = 0;
    ASSERT_EQ(CRF1_Fetch(console, buffer, sizeof buffer, &count), CRF1_OK);
    EXPECT_EQ(CRF1_Unregister(command), CRF1_OK);
    EXPECT_EQ(CRF1_Delete(console), CRF1_OK);
    BSS1_GetEnv("ZUL_UNITS_TEST_UNSET", nullptr);
    SIG1_QueryRecord query;
    EXPECT_EQ(SIG1_Query(&query, sizeof query), 0);
    EXPECT_EQ(BSS1_ConfigSet("RES1_DEBUG", "none", 4), 0);

    std::map<std::string, int> seen;
    void *records[64];
    for (uint32_t index = 0, n = 64; RAS1_EnumInfo(RAS1_LIST_ENTRIES, records, &index, &n) == 0; n = 64) {
        for (uint32_t i = 0; i < n; i++) {
            const auto *entry = static_cast<const ZULRA_entry_t *>(records[i]);
            auto row = kTraced.find(std::string(entry->name, entry->nameLen));
            if (row == kTraced.end())
                continue;
            const Traced &want = row->second;
            const ZULRA_unit_t *unit = entry->unit;
            seen[row->first]++;
            EXPECT_EQ(std::string(unit->file, unit->fileLen), want.unit) << row->first;
            EXPECT_EQ(unit->classes, want.unitClasses) << row->first;
            EXPECT_EQ(std::string(unit->comp, unit->compLen), want.comp) << row->first;
            EXPECT_EQ(entry->classes, want.kind) << row->first;
        }
    }
    for (const auto &[name, traced] : kTraced)
        EXPECT_EQ(seen[name], 1) << name << " is not among the entries the trace has met";
}

} // namespace
