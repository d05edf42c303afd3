// SIG1C_HostHandler: a host signal becomes a portable one.
//
// Runs inside the host's signal handler, on whatever thread the host
// chose, so it is async-signal-safe: it takes no lock, allocates nothing,
// uses no stdio and writes no trace through the log (whose stores take
// locks); the platform layer keeps errno for it.  It carries out the
// portable disposition as SIG1_Raise does, less the trace line: a
// handler is called with the portable number, SIG1_IGN does nothing, and
// for the default action it answers ZULPL_SIG_DEFAULT, on which the
// platform layer does what the host would have done without the library.
// With "-trace" in ZUL_SIG1 it first writes one line to standard output.
#include "sig/zulsg.h"

#include <string.h>

namespace {

// Appends the decimal text of a small non-negative number.
char *put_number(char *out, int value)
{
    char digits[12];
    int n = 0;
    unsigned v = static_cast<unsigned>(value);
    do {
        digits[n++] = static_cast<char>('0' + v % 10);
        v /= 10;
    } while (v != 0);
    while (n > 0)
        *out++ = digits[--n];
    return out;
}

char *put_text(char *out, const char *text)
{
    const size_t length = strlen(text);
    memcpy(out, text, length);
    return out + length;
}

// "signal %d(%s=%d) " and a line feed, in one write.
void trace_signal(int hostSignal, const char *name, int portable)
{
    char line[64];
    char *p = put_text(line, "signal ");
    p = put_number(p, hostSignal);
    *p++ = '(';
    p = put_text(p, name);
    *p++ = '=';
    p = put_number(p, portable);
    p = put_text(p, ") \n");
    ZULPL_SigWriteOut(line, static_cast<size_t>(p - line));
}

} // namespace

int SIG1C_HostHandler(int hostSignal)
{
    const SIG1_Control *c = __atomic_load_n(&ZULSG_controlPointer, __ATOMIC_ACQUIRE);
    if (c == nullptr || hostSignal < 1 || hostSignal > ZULPL_SIG_HIGHEST)
        return ZULPL_SIG_DEFAULT;
    const int p = c->hostToPortable[hostSignal];
    if (p == 0)
        return ZULPL_SIG_DEFAULT;
    if (c->trace)
        trace_signal(hostSignal, c->names[p], p);

    // Hooking happens only after the process block exists.
    auto *block = reinterpret_cast<SIG1_ProcessBlock *>(
        __atomic_load_n(&ZULSG_processDescriptor.result, __ATOMIC_ACQUIRE));
    if (block == nullptr)
        return ZULPL_SIG_DEFAULT;
    SIG1_Handler handler = ZULSG_LoadHandler(block, p);
    if (handler == SIG1_DFL)
        return ZULPL_SIG_DEFAULT;
    if (handler != SIG1_IGN)
        handler(p);
    return ZULPL_SIG_DONE;
}
