// Keeping an object alive while it is in use: one RES1_Use + RES1_Drop on
// a live handle, beside what a program would do instead: lock and unlock
// a recursive mutex around the work (std::recursive_mutex, and the
// library's own lock), or copy and release a std::shared_ptr.  Each runs
// on one thread, and on two threads that share the one handle, mutex or
// pointer.
#include <zul/bss1.h>
#include <zul/res1.h>

#include <benchmark/benchmark.h>

#include <memory>
#include <mutex>

namespace {

struct Thing {
    int value = 42;
};

struct Shared {
    uint32_t cls = 0;
    uint32_t handle = 0;
    Thing thing;
    std::shared_ptr<Thing> pointer = std::make_shared<Thing>();
    std::recursive_mutex mutex;
    ZULSS_lock_t lock{};

    Shared()
    {
        RES1_Register(&cls, nullptr, "bench", 0);
        RES1_Create(&handle, cls, 0, &thing);
    }
};

Shared &shared()
{
    static Shared s; // made by the first thread that gets here
    return s;
}

void ResUseDrop(benchmark::State &state)
{
    Shared &s = shared();
    for (auto _ : state) {
        void *data = nullptr;
        RES1_Use(s.handle, s.cls, &data);
        benchmark::DoNotOptimize(static_cast<Thing *>(data)->value);
        RES1_Drop(s.handle);
    }
}

void RecursiveMutex(benchmark::State &state)
{
    Shared &s = shared();
    for (auto _ : state) {
        s.mutex.lock();
        benchmark::DoNotOptimize(s.thing.value);
        s.mutex.unlock();
    }
}

void ZulLock(benchmark::State &state)
{
    Shared &s = shared();
    for (auto _ : state) {
        BSS1_GetLock(&s.lock);
        benchmark::DoNotOptimize(s.thing.value);
        BSS1_ReleaseLock(&s.lock);
    }
}

void SharedPtrCopy(benchmark::State &state)
{
    Shared &s = shared();
    for (auto _ : state) {
        std::shared_ptr<Thing> copy = s.pointer;
        benchmark::DoNotOptimize(copy->value);
    }
}

} // namespace

BENCHMARK(ResUseDrop)->Threads(1)->Threads(2)->UseRealTime();
BENCHMARK(RecursiveMutex)->Threads(1)->Threads(2)->UseRealTime();
BENCHMARK(ZulLock)->Threads(1)->Threads(2)->UseRealTime();
BENCHMARK(SharedPtrCopy)->Threads(1)->Threads(2)->UseRealTime();
