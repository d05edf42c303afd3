// Insertion, lookup, in-order walk and deletion of 1,000,000 random 64-bit
// keys: THB1 against GLib's GTree and std::map.  Each container orders its
// keys through a comparison function called by pointer, as THB1 does; the
// keys are the items themselves.
#include <zul/thb1.h>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <map>
#include <random>
#include <vector>

#ifdef ZUL_BENCH_GTREE
#include <glib.h>
#endif

namespace {

constexpr size_t kCount = 1000000;

const std::vector<uint64_t> &Keys()
{
    static const std::vector<uint64_t> keys = [] {
        std::mt19937_64 rng(12345);
        std::vector<uint64_t> k(kCount);
        for (uint64_t &x : k)
            x = rng();
        std::sort(k.begin(), k.end());
        k.erase(std::unique(k.begin(), k.end()), k.end());
        std::shuffle(k.begin(), k.end(), rng);
        return k;
    }();
    return keys;
}

// The same keys in another random order, for lookups and deletions.
const std::vector<uint64_t> &Probes()
{
    static const std::vector<uint64_t> probes = [] {
        std::vector<uint64_t> p = Keys();
        std::shuffle(p.begin(), p.end(), std::mt19937_64(678));
        return p;
    }();
    return probes;
}

// ---- comparison callbacks, kept out of line as a user's would be ----

__attribute__((noinline)) int CompareWords(const void *a, const void *b)
{
    uintptr_t x = reinterpret_cast<uintptr_t>(a), y = reinterpret_cast<uintptr_t>(b);
    return (x > y) - (x < y);
}

__attribute__((noinline)) const void *Identity(void *data) { return data; }

using CompareFn = int (*)(const void *, const void *);
struct ByCallback {
    CompareFn compare = CompareWords;
    bool operator()(uint64_t a, uint64_t b) const
    {
        return compare(reinterpret_cast<const void *>(a), reinterpret_cast<const void *>(b)) < 0;
    }
};
using Map = std::map<uint64_t, uint64_t, ByCallback>;

void *Word(uint64_t k) { return reinterpret_cast<void *>(static_cast<uintptr_t>(k)); }

void Report(benchmark::State &state) { state.SetItemsProcessed(int64_t(state.iterations()) * int64_t(Keys().size())); }

// ---- THB1 ----

void FillThb(THB1_Tree *t)
{
    THB1_Create(t, CompareWords, Identity, nullptr);
    for (uint64_t k : Keys())
        THB1_Insert(t, nullptr, Word(k), 0);
}

void BM_Insert_THB1(benchmark::State &state)
{
    for (auto _ : state) {
        THB1_Tree t;
        FillThb(&t);
        state.PauseTiming();
        THB1_Destroy(&t);
        state.ResumeTiming();
    }
    Report(state);
}

void BM_Lookup_THB1(benchmark::State &state)
{
    THB1_Tree t;
    FillThb(&t);
    for (auto _ : state)
        for (uint64_t k : Probes()) {
            void *data;
            THB1_Find(&t, nullptr, Word(k), &data);
            benchmark::DoNotOptimize(data);
        }
    THB1_Destroy(&t);
    Report(state);
}

void BM_Walk_THB1(benchmark::State &state)
{
    THB1_Tree t;
    FillThb(&t);
    for (auto _ : state) {
        THB1_Cursor c;
        void *data;
        THB1_Reset(&t, &c);
        while (THB1_Next(&c, &data) == STC1_Success)
            benchmark::DoNotOptimize(data);
    }
    THB1_Destroy(&t);
    Report(state);
}

void BM_Delete_THB1(benchmark::State &state)
{
    for (auto _ : state) {
        state.PauseTiming();
        THB1_Tree t;
        FillThb(&t);
        state.ResumeTiming();
        for (uint64_t k : Probes())
            THB1_Delete(&t, Word(k));
        state.PauseTiming();
        THB1_Destroy(&t);
        state.ResumeTiming();
    }
    Report(state);
}

// ---- std::map ----

void FillMap(Map &m)
{
    for (uint64_t k : Keys())
        m.emplace(k, k);
}

void BM_Insert_StdMap(benchmark::State &state)
{
    for (auto _ : state) {
        Map *m = new Map;
        FillMap(*m);
        state.PauseTiming();
        delete m;
        state.ResumeTiming();
    }
    Report(state);
}

void BM_Lookup_StdMap(benchmark::State &state)
{
    Map m;
    FillMap(m);
    for (auto _ : state)
        for (uint64_t k : Probes()) {
            auto it = m.find(k);
            benchmark::DoNotOptimize(it->second);
        }
    Report(state);
}

void BM_Walk_StdMap(benchmark::State &state)
{
    Map m;
    FillMap(m);
    for (auto _ : state)
        for (auto &kv : m)
            benchmark::DoNotOptimize(kv.second);
    Report(state);
}

void BM_Delete_StdMap(benchmark::State &state)
{
    for (auto _ : state) {
        state.PauseTiming();
        Map *m = new Map;
        FillMap(*m);
        state.ResumeTiming();
        for (uint64_t k : Probes())
            m->erase(k);
        state.PauseTiming();
        delete m;
        state.ResumeTiming();
    }
    Report(state);
}

#ifdef ZUL_BENCH_GTREE
// ---- GTree ----

gint CompareGWords(gconstpointer a, gconstpointer b) { return CompareWords(a, b); }

GTree *FillGTree()
{
    GTree *t = g_tree_new(CompareGWords);
    for (uint64_t k : Keys())
        g_tree_insert(t, Word(k), Word(k));
    return t;
}

void BM_Insert_GTree(benchmark::State &state)
{
    for (auto _ : state) {
        GTree *t = FillGTree();
        state.PauseTiming();
        g_tree_destroy(t);
        state.ResumeTiming();
    }
    Report(state);
}

void BM_Lookup_GTree(benchmark::State &state)
{
    GTree *t = FillGTree();
    for (auto _ : state)
        for (uint64_t k : Probes())
            benchmark::DoNotOptimize(g_tree_lookup(t, Word(k)));
    g_tree_destroy(t);
    Report(state);
}

// GTree's node walk (GLib 2.68 and later), the nearest thing to a cursor.
void BM_Walk_GTree(benchmark::State &state)
{
    GTree *t = FillGTree();
    for (auto _ : state)
        for (GTreeNode *n = g_tree_node_first(t); n != nullptr; n = g_tree_node_next(n))
            benchmark::DoNotOptimize(g_tree_node_value(n));
    g_tree_destroy(t);
    Report(state);
}

gboolean Visit(gpointer, gpointer value, gpointer)
{
    benchmark::DoNotOptimize(value);
    return FALSE;
}

void BM_WalkForeach_GTree(benchmark::State &state)
{
    GTree *t = FillGTree();
    for (auto _ : state)
        g_tree_foreach(t, Visit, nullptr);
    g_tree_destroy(t);
    Report(state);
}

void BM_Delete_GTree(benchmark::State &state)
{
    for (auto _ : state) {
        state.PauseTiming();
        GTree *t = FillGTree();
        state.ResumeTiming();
        for (uint64_t k : Probes())
            g_tree_remove(t, Word(k));
        state.PauseTiming();
        g_tree_destroy(t);
        state.ResumeTiming();
    }
    Report(state);
}
#endif

#define TREE_BENCH(fn) BENCHMARK(fn)->Unit(benchmark::kMillisecond)->MinTime(1.0)

TREE_BENCH(BM_Insert_THB1);
#ifdef ZUL_BENCH_GTREE
TREE_BENCH(BM_Insert_GTree);
#endif
TREE_BENCH(BM_Insert_StdMap);
TREE_BENCH(BM_Lookup_THB1);
#ifdef ZUL_BENCH_GTREE
TREE_BENCH(BM_Lookup_GTree);
#endif
TREE_BENCH(BM_Lookup_StdMap);
TREE_BENCH(BM_Walk_THB1);
#ifdef ZUL_BENCH_GTREE
TREE_BENCH(BM_Walk_GTree);
TREE_BENCH(BM_WalkForeach_GTree);
#endif
TREE_BENCH(BM_Walk_StdMap);
TREE_BENCH(BM_Delete_THB1);
#ifdef ZUL_BENCH_GTREE
TREE_BENCH(BM_Delete_GTree);
#endif
TREE_BENCH(BM_Delete_StdMap);

} // namespace
