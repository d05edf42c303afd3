// internal/zulbuild.h - the library's own build record and a safe way to
// read the values of any build record by name rather than by number.
#ifndef ZUL_SRC_INTERNAL_ZULBUILD_H
#define ZUL_SRC_INTERNAL_ZULBUILD_H

#include <zul/ras1.h>

// The values of a build record, by index.  A record may hold fewer than
// ZULRA_BUILD_VALUES; the ones it lacks read as "".
enum {
    ZULRA_BUILD_DATE = 0,
    ZULRA_BUILD_TIME = 1,
    ZULRA_BUILD_GENERATED_FILE = 2,
    ZULRA_BUILD_ENVIRONMENT_FILE = 3,
    ZULRA_BUILD_TARGET = 4,
    ZULRA_BUILD_HOST = 5,
    ZULRA_BUILD_USER = 6,
    ZULRA_BUILD_HOST_RELEASE = 7,
    ZULRA_BUILD_HOST_VERSION = 8,
    ZULRA_BUILD_HOST_TYPE = 9,
    ZULRA_BUILD_MACHINE_NAME = 10,
    ZULRA_BUILD_HOST_MACHINE = 11,
    ZULRA_BUILD_HOST_ENVIRONMENT = 12,
    ZULRA_BUILD_TARGET_ENVIRONMENT = 13,
    ZULRA_BUILD_SEQUENCE = 14,
    ZULRA_BUILD_COMPONENT = 15,
    ZULRA_BUILD_SERIAL = 16,
    ZULRA_BUILD_DRIVER = 17,
    ZULRA_BUILD_VALUES = 18
};

ZUL_BEGIN_DECLS
// The library's build record routine; every unit of the library names it.
// It is made with the record, from src/ras/zulbuild.def, in C.
void ZULRA_BuildInfo(ZULRA_build_t **build);
ZUL_END_DECLS

// Value `index` of `build`; "" where the record is null or has no such
// value, so callers can print or compare it without checks of their own.
static inline const char *ZULRA_BuildValue(const ZULRA_build_t *build, uint32_t index)
{
    if (build == 0 || index >= build->valueCount || build->values == 0 ||
        build->values[index] == 0)
        return "";
    return build->values[index];
}

#endif
