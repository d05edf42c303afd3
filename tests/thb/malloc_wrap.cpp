// A malloc that can be told to fail once.  The test program is linked
// with --wrap=malloc, so every call of malloc in it, the tree's included,
// comes here first.
#include <atomic>
#include <cstddef>

extern "C" void *__real_malloc(size_t size);

static std::atomic<int> failCountdown{0};

void FailMallocAfter(int n) { failCountdown.store(n); }

extern "C" void *__wrap_malloc(size_t size)
{
    int left = failCountdown.load(std::memory_order_relaxed);
    if (left > 0) {
        failCountdown.store(left - 1);
        if (left == 1)
            return nullptr;
    }
    return __real_malloc(size);
}
