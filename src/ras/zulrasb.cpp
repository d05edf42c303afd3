/*
 * zulrasb - ZULRA_ShowBuild: the build banner of a link unit.
 *
 * Written when the trace starts with something selected, and when a unit
 * of a further link unit is first selected, so that the log says which
 * builds wrote it.
 */
#include "ras/zulra.h"

ZULRA_START_UNIT();
RAS1_DECLARE_ENTRY(banner_entry, "QXBLD", 0);

/* Value `index` of the record, "" where it has fewer. */
static const char *value(const ZULRA_build_t *build, uint32_t index)
{
    if (index >= build->valueCount || build->values == nullptr || build->values[index] == nullptr)
        return "";
    return build->values[index];
}

void ZULRA_ShowBuild(ZULRA_build_t *build)
{
    if (build == nullptr)
        return;
    /* The banner is written inside the trace's start too, where nothing
     * may sync a record: the quick read only. */
    (void)RAS1_PeekClass(&banner_entry);
    RAS1_Printf(&banner_entry, __LINE__, "\n%12s: %s\n%12s: %s/%s.%s\n%12s: %s %s\n%12s: %s\n",
                "Component", value(build, 15), "Driver", value(build, 17), value(build, 16),
                value(build, 14), "Timestamp", value(build, 0), value(build, 1), "Target",
                value(build, 4));
}
