// Opening the files that the library reads: the text files that settings
// come from (regular files only), and parameter files.  Every descriptor
// is close-on-exec.
#include "platform/zulplat.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

FILE *ZULPL_OpenText(const char *path, ZULPL_fileid_t *id, int *found)
{
    *found = ZULPL_TEXT_ABSENT;
    if (path == nullptr || *path == '\0')
        return nullptr;

    // Look before opening: opening some devices has effects of its own.
    struct stat st;
    if (stat(path, &st) != 0)
        return nullptr;
    if (!S_ISREG(st.st_mode)) {
        *found = ZULPL_TEXT_NOT_REGULAR;
        return nullptr;
    }

    // The name may have been given to something else in between: open
    // without waiting (a FIFO would wait for a writer) and look again at
    // what was opened.
    int fd = open(path, O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    if (fd < 0)
        return nullptr;
    if (fstat(fd, &st) != 0) {
        close(fd);
        return nullptr;
    }
    if (!S_ISREG(st.st_mode)) {
        *found = ZULPL_TEXT_NOT_REGULAR;
        close(fd);
        return nullptr;
    }
    int flags = fcntl(fd, F_GETFL);
    if (flags >= 0)
        (void)fcntl(fd, F_SETFL, flags & ~O_NONBLOCK);
    FILE *file = fdopen(fd, "r");
    if (file == nullptr) {
        close(fd);
        return nullptr;
    }
    if (id != nullptr) {
        id->device = static_cast<uint64_t>(st.st_dev);
        id->inode = static_cast<uint64_t>(st.st_ino);
    }
    *found = ZULPL_TEXT_OPENED;
    return file;
}

FILE *ZULPL_OpenStream(const char *path)
{
    if (path == nullptr)
        return nullptr;
    return fopen(path, "re"); // "e": O_CLOEXEC
}
