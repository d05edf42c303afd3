#include <zul/zul.h>
#include <stdio.h>

int main(void)
{
    const char *name = NULL;
    ZULSS_time_t t;
    BSS1_GetTime(&t);
    printf("%u\n", (unsigned)BSS1_ThreadID());
    return STC1_Success == 0 && name == NULL ? 0 : 1;
}
