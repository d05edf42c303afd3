// Prints the component code and driver name of the program's own record.
#include <zul/ras1.h>

#include "record_BuildInfo.h"

#include <cstdio>

int main()
{
    ZULRA_build_t *build = nullptr;
    record_BuildInfo(&build);
    std::printf("component %s, driver %s\n", build->values[15], build->values[17]);
    return 0;
}
