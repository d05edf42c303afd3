// The test program is linked with --wrap=malloc: every malloc in it, the
// tree's included, comes here first and can be told to fail.
#include <atomic>
#include <cstddef>

extern "C" void *__real_malloc(size_t size);
static std::atomic<int> countdown{0};

void FailMallocAfter(int n) { countdown = n; }

extern "C" void *__wrap_malloc(size_t size)
{
    if (countdown.load(std::memory_order_relaxed) > 0 && --countdown == 0)
        return nullptr;
    return __real_malloc(size);
}
