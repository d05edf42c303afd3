// zulracr - the capture ring's rings: one for each thread that logs,
// made at its first record and taken over by a later thread once it ends.
//
// The rings hang on one list, newest first, onto which a ring is pushed
// with a compare-and-swap and from which none is ever taken: a reader (the
// failure report in a signal handler among them) walks it with no lock.
// A thread finds a ring to take over by a compare-and-swap of the ring's
// `writer` word, so two threads never take the same one.
#include "ras/zulra.h"

#include "platform/zulplat.h"

#include <stdlib.h>
#include <string.h>

static_assert(sizeof(ZULRA_ring_t) % 64 == 0, "a ring is whole cache lines");
static_assert(offsetof(ZULRA_ring_t, slots) == 64, "the slots start a cache line");

constinit thread_local __attribute__((tls_model("initial-exec"))) ZULRA_ring_t *ZULRA_ownRing =
    nullptr;

namespace {

constinit ZULRA_rings_t rings_ = {};

// Rings made so far, for the next ring's `id`.
constinit uint32_t made = 0;

// Takes over a ring that no thread owns; null when there is none.
ZULRA_ring_t *take_free(void)
{
    for (ZULRA_ring_t *ring = __atomic_load_n(&rings_.newest, __ATOMIC_ACQUIRE); ring != nullptr;
         ring = ring->older) {
        uint32_t expected = 0;
        if (__atomic_load_n(&ring->writer, __ATOMIC_RELAXED) == 0 &&
            __atomic_compare_exchange_n(&ring->writer, &expected, 1u, false, __ATOMIC_ACQUIRE,
                                        __ATOMIC_RELAXED))
            return ring;
    }
    return nullptr;
}

ZULRA_ring_t *make_ring(void)
{
    void *memory = aligned_alloc(64, sizeof(ZULRA_ring_t));
    if (memory == nullptr)
        return nullptr;
    memset(memory, 0, sizeof(ZULRA_ring_t));
    ZULRA_ring_t *ring = static_cast<ZULRA_ring_t *>(memory);
    ring->id = __atomic_fetch_add(&made, 1u, __ATOMIC_RELAXED);
    ring->writer = 1;
    ZULRA_ring_t *newest = __atomic_load_n(&rings_.newest, __ATOMIC_RELAXED);
    do
        ring->older = newest;
    while (!__atomic_compare_exchange_n(&rings_.newest, &newest, ring, true, __ATOMIC_RELEASE,
                                        __ATOMIC_RELAXED));
    return ring;
}

// The child of a fork has only the thread that forked: every other ring
// is free for the child's threads to take over, and a slot that a thread
// of the parent was filling at the fork, which would stay marked as being
// filled for ever, is emptied.
void give_up_in_child(void)
{
    for (ZULRA_ring_t *ring = __atomic_load_n(&rings_.newest, __ATOMIC_ACQUIRE); ring != nullptr;
         ring = ring->older) {
        if (ring != ZULRA_ownRing)
            __atomic_store_n(&ring->writer, 0u, __ATOMIC_RELAXED);
        for (uint32_t i = 0; i < ZULRA_CAPTURE_SLOTS; i++)
            if ((__atomic_load_n(&ring->slots[i].stamp, __ATOMIC_RELAXED) & 1) != 0)
                __atomic_store_n(&ring->slots[i].stamp, 0u, __ATOMIC_RELAXED);
    }
}

} // namespace

ZULRA_rings_t *ZULRA_MakeRing(void)
{
    (void)ZULPL_OnFork(nullptr, give_up_in_child);
    return &rings_;
}

ZULRA_ring_t *ZULRA_TakeRing(void)
{
    ZULRA_ring_t *ring = take_free();
    if (ring == nullptr)
        ring = make_ring();
    ZULRA_ownRing = ring;
    return ring;
}

void ZULRA_LeaveRing(void)
{
    ZULRA_ring_t *ring = ZULRA_ownRing;
    if (ring == nullptr)
        return;
    ZULRA_ownRing = nullptr;
    __atomic_store_n(&ring->writer, 0u, __ATOMIC_RELEASE);
}
