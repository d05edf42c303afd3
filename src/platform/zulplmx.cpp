// Recursive mutexes on POSIX threads.
#include "platform/zulplat.h"

#include <pthread.h>
#include <stdlib.h>

void *ZULPL_MutexCreate(void)
{
    pthread_mutex_t *m = static_cast<pthread_mutex_t *>(malloc(sizeof *m));
    if (m == nullptr)
        return nullptr;
    pthread_mutexattr_t attr;
    pthread_mutexattr_init(&attr);
    pthread_mutexattr_settype(&attr, PTHREAD_MUTEX_RECURSIVE);
    int rc = pthread_mutex_init(m, &attr);
    pthread_mutexattr_destroy(&attr);
    if (rc != 0) {
        free(m);
        return nullptr;
    }
    return m;
}

void ZULPL_MutexLock(void *mutex)
{
    // The result is not looked at: a failed wait counts as acquired, as
    // with a mutex whose holder has ended.
    if (mutex != nullptr)
        pthread_mutex_lock(static_cast<pthread_mutex_t *>(mutex));
}

void ZULPL_MutexUnlock(void *mutex)
{
    if (mutex != nullptr)
        pthread_mutex_unlock(static_cast<pthread_mutex_t *>(mutex));
}

void ZULPL_MutexDestroy(void *mutex)
{
    if (mutex == nullptr)
        return;
    pthread_mutex_destroy(static_cast<pthread_mutex_t *>(mutex));
    free(mutex);
}
