/* A program built against the installed package alone.  It prints the
 * headers' version, which the install check compares with the package's
 * and the shared library's name, and then runs what the headers do
 * inline against the installed library: a process block built on first
 * use, a protected scope that catches a memory fault, and a traced
 * function's Entry, message and Exit. */
#include <zul/zul.h>
#include <stdio.h>

#if !ZUL_VERSION_AT_LEAST(ZUL_VERSION_MAJOR, ZUL_VERSION_MINOR, ZUL_VERSION_PATCH) || \
    ZUL_VERSION_AT_LEAST(ZUL_VERSION_MAJOR, ZUL_VERSION_MINOR, ZUL_VERSION_PATCH + 1)
#error "ZUL_VERSION does not order as its three parts do"
#endif

RAS1_DECLARE_UNIT(RAS1_SERVER, "1.0", "CONS");

typedef struct { int order; } block_t;
static int constructions;
static void construct(void *block) { ((block_t *)block)->order = ++constructions; }
static ZULSS_descriptor_t descriptor = {sizeof(block_t), construct, NULL, 0, 0};

static int *volatile nowhere; /* never set: a store through it faults */

static uint32_t fault_in_scope(void)
{
    uint32_t seen = 0;
    PFM1_TRY(s) {
        *nowhere = 1;
    } PFM1_CATCH(s) {
        seen = s.status;
    } PFM1_END(s);
    return seen;
}

static int traced(int value)
{
    RAS1_DECLARE_ENTRY(entry, "traced", RAS1_PUBLIC);
    RAS1_ENTRY(entry, classes, flow);
    RAS1_LOG(entry, classes, RAS1_DETAIL, "value %d\n", value);
    RAS1_EXIT(entry, flow);
    return value;
}

int main(void)
{
    printf("%s\n", ZUL_VERSION_STRING);
    block_t *first = ZULSS_PROCESS_BLOCK(&descriptor);
    block_t *again = ZULSS_PROCESS_BLOCK(&descriptor);
    printf("block: %d construction, %s\n", constructions,
           first == again && first->order == 1 ? "one block" : "two blocks");
    printf("scope: 0x%08lX\n", (unsigned long)fault_in_scope());
    printf("traced: %d\n", traced(42));
    return 0;
}
