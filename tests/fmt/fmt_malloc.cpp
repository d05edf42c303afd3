// A malloc that fails on request, to drive the out-of-memory paths.
#include <cstddef>
#include <cstdint>

size_t fmtFailSize = 0;

extern "C" void *__real_malloc(size_t size);

extern "C" void *__wrap_malloc(size_t size)
{
    if (fmtFailSize != 0 && (fmtFailSize == SIZE_MAX || fmtFailSize == size))
        return nullptr;
    return __real_malloc(size);
}
