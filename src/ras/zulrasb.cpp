// zulrasb - ZULRA_ShowBuild: the build banner of a link unit.
//
// Written when the trace starts with something selected, and when a unit
// of a further link unit is first selected, so that the log says which
// builds wrote it.
#include "ras/zulra.h"

ZULRA_START_UNIT();
RAS1_DECLARE_ENTRY(banner_entry, "QXBLD", 0);

void ZULRA_ShowBuild(ZULRA_build_t *build)
{
    if (build == nullptr)
        return;
    // The banner is written inside the trace's start too, where nothing
    // may sync a record, so it is written without a test of its word.
    const auto value = [build](uint32_t index) { return ZULRA_BuildValue(build, index); };
    RAS1_Printf(&banner_entry, __LINE__, "\n%12s: %s\n%12s: %s/%s.%s\n%12s: %s %s\n%12s: %s\n",
                "Component", value(ZULRA_BUILD_COMPONENT), "Driver", value(ZULRA_BUILD_DRIVER),
                value(ZULRA_BUILD_SERIAL), value(ZULRA_BUILD_SEQUENCE), "Timestamp",
                value(ZULRA_BUILD_DATE), value(ZULRA_BUILD_TIME), "Target",
                value(ZULRA_BUILD_TARGET));
}
