/*
 * zul/bss1.h - basic system services.
 *
 * Once-only construction of process and thread blocks, locks, memory,
 * the clock and thread identity; and, in the sections further down, the
 * environment, information items, name matching, tokenizing and the
 * format engine.
 *
 * Every piece of process-wide state is described by a static
 * ZULSS_descriptor_t that starts as zero bytes.  The first use builds the
 * block; afterwards a reader takes the block from the descriptor's
 * `result` word with one load and one test (ZULSS_PROCESS_BLOCK).
 */
#ifndef ZUL_BSS1_H
#define ZUL_BSS1_H

#include <zul/stc1.h>
#include <zul/rsn1.h>

ZUL_BEGIN_DECLS

/* ------------------------------------------------------------------ */
/* Locks                                                               */
/* ------------------------------------------------------------------ */

/* A recursive lock of two words.  All zero bytes are a valid, unused lock:
 * its mutex comes into being at the first acquisition. */
typedef struct ZULSS_lock {
    uint32_t created; /* 0: no mutex yet; 1: `handle` is valid */
    void *handle;     /* the platform's mutex */
} ZULSS_lock_t;

ZUL_API void BSS1_InitializeLock(ZULSS_lock_t *lock);
ZUL_API void BSS1_GetLock(ZULSS_lock_t *lock);
ZUL_API void BSS1_ReleaseLock(ZULSS_lock_t *lock);
ZUL_API void BSS1_DestroyLock(ZULSS_lock_t *lock);

/* ------------------------------------------------------------------ */
/* Once-only construction, process and thread blocks                   */
/* ------------------------------------------------------------------ */

typedef void (*ZULSS_constructor_t)(void *argument);
typedef void (*ZULSS_destructor_t)(void *block);

/* The static description of a process or thread block.  `size` 0 makes a
 * word block: the constructor receives the address of one word and stores
 * the block's value there.
 *
 * `once`: 0 at the start, 1..63 while construction runs under that pool
 * slot, negative once construction has ended.
 * `result`: for a process block its address (0 until built); for a thread
 * block its key, from 1 up. */
typedef struct ZULSS_descriptor {
    uint32_t size;
    ZULSS_constructor_t constructor;
    ZULSS_destructor_t destructor;
    int32_t once;
    uintptr_t result;
} ZULSS_descriptor_t;

/* Runs constructor(argument) exactly once for the once word `*once`, with
 * any number of threads racing and from within other constructors.
 * Returns `argument`.  `file` and `line` name the caller in the two abort
 * messages of the machinery. */
ZUL_API void *BSS1_InitializeOnce(int32_t *once, ZULSS_constructor_t constructor,
                                  void *argument, const char *file, int line);

/* Runs function(argument) now if no construction is under way in the
 * process, otherwise after the last one has ended. */
ZUL_API void BSS1_InitializeEpilog(ZULSS_constructor_t function, void *argument);

/* The descriptor's `result`, building the process block first if need be.
 * Never null for a block with a size: out of memory ends the process. */
ZUL_API void *BSS1_ResolveProcess(ZULSS_descriptor_t *descriptor, const char *file, int line);

/* The calling thread's block for this descriptor (a word block: the word's
 * value); null if memory ran out. */
ZUL_API void *BSS1_ResolveThread(ZULSS_descriptor_t *descriptor, const char *file, int line);

/* Runs the destructors of the calling thread's blocks, newest first, and
 * frees its table.  `table` is the thread's table or null (the same). */
ZUL_API void BSS1__DropThread(void *table);

/* BSS1__DropThread(null), then ends the calling thread. */
ZUL_API void BSS1_EndThread(void) __attribute__((noreturn));

/* Records the program's arguments and name, once each.  Returns 0. */
ZUL_API int BSS1_Main(int *argc, char **argv, const char *name);

/* The process block of a descriptor: one acquire load (a plain load on
 * x86-64) and one test once the block exists. */
static inline void *ZULSS_ProcessBlock(ZULSS_descriptor_t *descriptor, const char *file, int line)
{
    uintptr_t r = __atomic_load_n(&descriptor->result, __ATOMIC_ACQUIRE);
    if (__builtin_expect(r != 0, 1))
        return (void *)r;
    return BSS1_ResolveProcess(descriptor, file, line);
}
#define ZULSS_PROCESS_BLOCK(descriptor) ZULSS_ProcessBlock((descriptor), __FILE__, __LINE__)
#define ZULSS_THREAD_BLOCK(descriptor) BSS1_ResolveThread((descriptor), __FILE__, __LINE__)

/* ------------------------------------------------------------------ */
/* Memory, clock, sleep and thread identity                            */
/* ------------------------------------------------------------------ */

typedef struct ZULSS_time {
    uint32_t seconds;     /* calendar seconds, advanced by the tick counter */
    uint32_t nanoseconds; /* below one second, a multiple of 1,000,000 */
} ZULSS_time_t;

ZUL_API int BSS1_GetMem(size_t size, void **out, int *reason);
ZUL_API int BSS1_FreeMem(size_t size, void *memory, int *reason);
ZUL_API int BSS1_QueryMem(long *available, int *reason);
ZUL_API uint32_t BSS1_GetTime(ZULSS_time_t *value);
ZUL_API void BSS1_Sleep(uint32_t seconds);
ZUL_API uint32_t BSS1_ThreadID(void);

/* ------------------------------------------------------------------ */
/* Match and tokenize                                                  */
/* ------------------------------------------------------------------ */

/* ------------------------------------------------------------------ */
/* Format engine                                                       */
/* ------------------------------------------------------------------ */

/* ------------------------------------------------------------------ */
/* Environment                                                         */
/* ------------------------------------------------------------------ */

/* ------------------------------------------------------------------ */
/* Information items and displays                                      */
/* ------------------------------------------------------------------ */

ZUL_END_DECLS

#endif /* ZUL_BSS1_H */
