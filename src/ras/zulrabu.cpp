// zulrabu - lines held for large writes: the buffer of the default store's
// text and JSON targets, and its writing out.
//
// A line costs the writer a copy into the buffer; the buffer goes to the
// file in one write(2) when a half of it is full, with an ERROR line, when
// a line comes and the oldest held is older than ZULRA_HOLD_AGE, on `ras1
// flush` and `ras1 reopen`, and when the process ends: at exit, before
// fork, and from a signal that ends it (the failure report's and the
// others, see ZULPL_OnEnding).  Those last are drains: they run without the
// store's lock, which the thread that dies may hold, and with write(2)
// only.
//
// The buffer has two halves.  A thread that fills one hands it off and
// goes on in the other: it writes the full half only after it has given
// back the store's lock, so that other threads add their lines meanwhile
// rather than wait for the disk.  The other half must be written before
// lines are added to it again, and halves are written in the order they
// were filled, so the file keeps the order of the lines.
//
// So that a drain can run at any moment, on any thread, each half is
// described by words read and written with atomic operations: `used`, the
// bytes of whole lines, moved on by the appender (under the store's lock)
// after the bytes are in place; `done`, the prefix already in the file;
// and, for both, `writer`, the thread that is writing, so that two writes
// never run at once.  Only a writer in ordinary code empties a half,
// `used` first, so that a drain that interrupts it finds nothing left to
// write rather than everything again.
#include "ras/zulralg.h"
#include "internal/zullogout.h"

#include "platform/zulplat.h"
#include "platform/zulplsg.h"

#include <stdio_ext.h>
#include <stdlib.h>
#include <string.h>
#include <strings.h>

constinit thread_local __attribute__((tls_model("initial-exec"))) ZULRA_target_t *ZULRA_handedOff =
    nullptr;

namespace {

// The buffer unless ZUL_RAS1_BUFFER says otherwise, and the bounds of
// what it may say.
constexpr uint32_t kDefaultSize = 256u * 1024u;
constexpr uint32_t kLeastSize = 4u * 1024u;
constexpr uint32_t kMostSize = 64u * 1024u * 1024u;

// How long a drain waits for a write under way on another thread, and
// for a pipe's reader to take a page, before it writes on or gives up.
constexpr uint32_t kPatience = 1000;

// Claims the writing for thread `self`: 1 when it now holds it; 0 when it
// held it already (a drain in a signal handler that interrupted this
// thread's own write) or, in a drain, gave up waiting after `patience`
// milliseconds.  Ordinary code (`patience` 0) waits as long as it takes,
// giving the processor away while it does: the writing is one write(2)
// of a half, some tens of microseconds.
int take_writer(ZULRA_hold_t *hold, uint32_t self, uint32_t patience)
{
    for (uint32_t tries = 0;; tries++) {
        uint32_t expected = 0;
        if (__atomic_compare_exchange_n(&hold->writer, &expected, self, false, __ATOMIC_ACQUIRE,
                                        __ATOMIC_RELAXED))
            return 1;
        if (expected == self)
            return 0;
        if (patience == 0) {
            ZULPL_Yield();
        } else {
            if (tries >= patience)
                return 0;
            ZULPL_Sleep(1);
        }
    }
}

// Writes what half `k` holds beyond its `done`.  Returns the bytes
// written.  The caller holds the writing.
uint32_t write_rest(ZULRA_target_t *target, uint32_t k, int draining)
{
    ZULRA_hold_t *hold = &target->hold;
    uint32_t used = __atomic_load_n(&hold->used[k], __ATOMIC_ACQUIRE);
    uint32_t done = __atomic_load_n(&hold->done[k], __ATOMIC_ACQUIRE);
    if (done >= used)
        return 0;
    const char *from = hold->bytes + (size_t)k * hold->size + done;
    uint32_t length = used - done;
    if (draining)
        length = (uint32_t)ZULPL_WriteWithin(target->fd, from, length, kPatience);
    else
        ZULPL_WriteAll(target->fd, from, length);
    __atomic_store_n(&hold->done[k], done + length, __ATOMIC_RELEASE);
    return length;
}

// Writes half `k`, which is not the one being filled, and empties it.
// Nothing is done if it has become the half being filled: whoever made it
// so wrote it first.  Returns the bytes written.
uint32_t write_half(ZULRA_target_t *target, uint32_t k)
{
    ZULRA_hold_t *hold = &target->hold;
    // Only a drain on another thread, or the thread that handed the half
    // off, can hold the writing meanwhile; both are bounded.
    int owned = take_writer(hold, ZULPL_ThreadId(), 0);
    uint32_t written = 0;
    if (__atomic_load_n(&hold->fill, __ATOMIC_ACQUIRE) != k) {
        written = write_rest(target, k, 0);
        if (owned) {
            __atomic_store_n(&hold->used[k], 0u, __ATOMIC_RELEASE);
            __atomic_store_n(&hold->done[k], 0u, __ATOMIC_RELEASE);
        }
    }
    if (owned)
        __atomic_store_n(&hold->writer, 0u, __ATOMIC_RELEASE);
    return written;
}

// Makes the half being filled the one to write, and the other, written
// out first, the one to fill; `*written` (if not null) gets the bytes that
// took.  Returns the half handed off.  The caller holds the store's lock.
uint32_t hand_off(ZULRA_target_t *target, uint32_t *written = nullptr)
{
    ZULRA_hold_t *hold = &target->hold;
    uint32_t full = __atomic_load_n(&hold->fill, __ATOMIC_RELAXED);
    uint32_t older = write_half(target, 1 - full);
    if (written != nullptr)
        *written = older;
    __atomic_store_n(&hold->fill, 1 - full, __ATOMIC_RELEASE);
    return full;
}

// The head's time of the line being written, in milliseconds.
uint32_t line_time()
{
    ZULSS_time_t now;
    if (ZULRA_writing != nullptr)
        now = ZULRA_writing->time;
    else
        BSS1_GetTime(&now);
    return now.seconds * 1000u + now.nanoseconds / 1000000u;
}

// A size such as 65536, 64k or 1M; 0 for anything else.
uint32_t read_size(const char *text)
{
    char *end;
    unsigned long long value = strtoull(text, &end, 10);
    if (end == text)
        return 0;
    if (*end == 'k' || *end == 'K')
        value *= 1024u, end++;
    else if (*end == 'm' || *end == 'M')
        value *= 1024u * 1024u, end++;
    if (*end != '\0' || value < kLeastSize || value > kMostSize)
        return 0;
    return (uint32_t)value;
}

// The buffer's size that ZUL_RAS1_BUFFER asks for, 0 for none.  A value
// that is none of the forms keeps the default, and says so.
uint32_t wanted_size(const char *setting)
{
    if (setting == nullptr || *setting == '\0' || strcasecmp(setting, "on") == 0 ||
        strcasecmp(setting, "yes") == 0)
        return kDefaultSize;
    if (strcasecmp(setting, "off") == 0 || strcasecmp(setting, "no") == 0 ||
        strcmp(setting, "0") == 0)
        return 0;
    uint32_t size = read_size(setting);
    if (size != 0)
        return size;
    char line[256];
    int n = snprintf(line, sizeof line,
                     "ZUL_RAS1_BUFFER: \"%.64s\" is not off, on or a size from 4K to 64M; the log "
                     "holds up to %uK\n",
                     setting, kDefaultSize / 1024u);
    if (n > 0)
        ZULPL_WriteAll(2, line, (size_t)n < sizeof line ? (size_t)n : sizeof line - 1);
    return kDefaultSize;
}

void drain_now()
{
    ZULRA_WriteOutLog(0);
}

void drain_ending()
{
    ZULRA_WriteOutLog(1);
}

// The child of a fork: what the buffer holds are the parent's lines,
// which the parent writes; the child starts empty.  A thread that was
// writing in the parent does not exist here.
void empty_in_child()
{
    ZULRA_target_t *target = ZULRA_Target();
    if (target == nullptr || target->hold.bytes == nullptr)
        return;
    for (int k = 0; k < 2; k++) {
        __atomic_store_n(&target->hold.used[k], 0u, __ATOMIC_RELAXED);
        __atomic_store_n(&target->hold.done[k], 0u, __ATOMIC_RELAXED);
    }
    __atomic_store_n(&target->hold.writer, 0u, __ATOMIC_RELEASE);
    ZULRA_handedOff = nullptr;
}

// At exit, and when the library is unloaded: lines held go out, and
// threads that still write do so line by line.
__attribute__((destructor)) void drain_at_exit()
{
    ZULRA_WriteOutLog(1);
}

} // namespace

void ZULRA_HoldLines(ZULRA_target_t *target, const char *setting)
{
    if (target->form == ZULRA_TO_JOURNAL || ZULPL_FileKind(target->fd) == ZULPL_FILE_TERMINAL)
        return;
    uint32_t size = wanted_size(setting);
    if (size == 0)
        return;
    char *bytes = (char *)malloc(2 * (size_t)size);
    if (bytes == nullptr)
        return; // each line is written as it comes
    target->hold.size = size;
    __atomic_store_n(&target->hold.bytes, bytes, __ATOMIC_RELEASE);
    (void)ZULPL_OnFork(drain_now, empty_in_child);
}

void ZULRA_WriteHandedOff(void)
{
    ZULRA_target_t *target = ZULRA_handedOff;
    if (target == nullptr)
        return;
    ZULRA_handedOff = nullptr;
    (void)write_half(target, 1 - __atomic_load_n(&target->hold.fill, __ATOMIC_ACQUIRE));
}

uint32_t ZULRA_WriteHeld(ZULRA_target_t *target)
{
    ZULRA_hold_t *hold = &target->hold;
    if (hold->bytes == nullptr)
        return 0;
    uint32_t written;
    uint32_t full = hand_off(target, &written);
    written += write_half(target, full);
    // What the program wrote to the same stream since the lines held
    // follows them.
    if (target->stream != nullptr && __fpending(target->stream) != 0)
        fflush(target->stream);
    return written;
}

int ZULRA_Put(ZULRA_target_t *target, const char *text, uint32_t length, uint32_t flags)
{
    ZULRA_hold_t *hold = &target->hold;
    if (hold->bytes == nullptr) {
        if (target->stream != nullptr && __fpending(target->stream) != 0)
            fflush(target->stream);
        ZULPL_WriteAll(target->fd, text, length);
        return 0;
    }
    // The program's own output to the same stream keeps its place: what
    // it wrote since the last line follows the lines held before it.
    if (target->stream != nullptr && __fpending(target->stream) != 0)
        ZULRA_WriteHeld(target);

    uint32_t fill = __atomic_load_n(&hold->fill, __ATOMIC_RELAXED);
    uint32_t used = __atomic_load_n(&hold->used[fill], __ATOMIC_RELAXED);
    if (length > hold->size - used) {
        if (length > hold->size) { // longer than a half: after all the rest
            ZULRA_WriteHeld(target);
            ZULPL_WriteAll(target->fd, text, length);
            return 0;
        }
        // The full half is written once the lock is given back; the
        // other, written out first if need be, takes the line.
        hand_off(target);
        ZULRA_handedOff = target;
        fill = 1 - fill;
        used = 0;
    }
    uint32_t now = line_time();
    if (used == 0) {
        hold->oldest = now;
        // The signals that end a process are taken when there is first
        // something to lose: a process whose log writes nothing keeps
        // their dispositions as they were.
        if (__builtin_expect(hold->armed == 0, 0)) {
            hold->armed = 1;
            ZULPL_OnEnding(drain_ending);
        }
    }
    memcpy(hold->bytes + (size_t)fill * hold->size + used, text, length);
    __atomic_store_n(&hold->used[fill], used + length, __ATOMIC_RELEASE);

    if (RAS1_WRITE_KIND(flags) == RAS1_ERROR ||
        (int32_t)(now - hold->oldest) >= (int32_t)ZULRA_HOLD_AGE ||
        __atomic_load_n(&hold->through, __ATOMIC_ACQUIRE) != 0) {
        hand_off(target);
        ZULRA_handedOff = target;
    }
    return 0;
}

void ZULRA_DrainHeld(ZULRA_target_t *target, int ending)
{
    ZULRA_hold_t *hold = &target->hold;
    if (__atomic_load_n(&hold->bytes, __ATOMIC_ACQUIRE) == nullptr)
        return;
    if (ending)
        __atomic_store_n(&hold->through, 1u, __ATOMIC_RELEASE);
    // A write under way on another thread is waited for, for a while:
    // beyond that the bytes it holds are written again rather than lost.
    // While this drain writes, no half is handed off, so the older half,
    // the one not being filled, goes first.
    int owned = take_writer(hold, ZULPL_ThreadId(), kPatience);
    uint32_t fill = __atomic_load_n(&hold->fill, __ATOMIC_ACQUIRE);
    (void)write_rest(target, 1 - fill, 1);
    (void)write_rest(target, fill, 1);
    if (owned)
        __atomic_store_n(&hold->writer, 0u, __ATOMIC_RELEASE);
}

void ZULRA_WriteOutLog(int ending)
{
    ZULRA_target_t *target = ZULRA_Target();
    if (target != nullptr)
        ZULRA_DrainHeld(target, ending);
}

void ZULRA_HoldAgain(void)
{
    ZULRA_target_t *target = ZULRA_Target();
    if (target != nullptr)
        __atomic_store_n(&target->hold.through, 0u, __ATOMIC_RELEASE);
}
