// Local sockets for the console server: the private directory, listening,
// accepting with the peer's credentials, waiting.
//
// The directory is what keeps other users out before the peer check
// does: it must be a directory of our own that no one else may enter.
#include "platform/zulplso.h"

#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/epoll.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

int copy_path(char *buffer, size_t size, const char *a, const char *b)
{
    int n = snprintf(buffer, size, "%s%s", a, b);
    return (n < 0 || size_t(n) >= size) ? -ENAMETOOLONG : 0;
}

int default_directory(char *buffer, size_t size)
{
    const char *runtime = getenv("XDG_RUNTIME_DIR");
    if (runtime != nullptr && runtime[0] == '/')
        return copy_path(buffer, size, runtime, "/zul");
    if (geteuid() == 0)
        return copy_path(buffer, size, "/run/zul", "");
    int n = snprintf(buffer, size, "/tmp/zul-%u", unsigned(geteuid()));
    return (n < 0 || size_t(n) >= size) ? -ENAMETOOLONG : 0;
}

// The part of a socket's name between its last two dots: "<pid>" of
// "<program>.<pid>.sock".  0 when the name has another shape.
uint32_t pid_of_name(const char *name)
{
    size_t n = strlen(name);
    if (n < 7 || strcmp(name + n - 5, ".sock") != 0)
        return 0;
    size_t end = n - 5, start = end;
    while (start > 0 && name[start - 1] >= '0' && name[start - 1] <= '9')
        --start;
    if (start == end || start == 0 || name[start - 1] != '.' || end - start > 9)
        return 0;
    return uint32_t(strtoul(name + start, nullptr, 10));
}

} // namespace

int ZULPL_PrivateDirectory(const char *directory, char *buffer, size_t size)
{
    int rc = (directory != nullptr && directory[0] != '\0') ? copy_path(buffer, size, directory, "")
                                                           : default_directory(buffer, size);
    if (rc != 0)
        return rc;
    // Room for "/<name>.<pid>.sock" behind the directory is checked by
    // the caller; a trailing slash would only double up.
    size_t n = strlen(buffer);
    while (n > 1 && buffer[n - 1] == '/')
        buffer[--n] = '\0';
    if (mkdir(buffer, 0700) != 0 && errno != EEXIST)
        return -errno;
    struct stat st;
    if (lstat(buffer, &st) != 0)
        return -errno;
    if (!S_ISDIR(st.st_mode) || st.st_uid != geteuid() || (st.st_mode & 077) != 0)
        return -EPERM;
    return 0;
}

int ZULPL_ProcessAlive(uint32_t pid)
{
    if (pid == 0)
        return 0;
    return kill(pid_t(pid), 0) == 0 || errno == EPERM;
}

void ZULPL_RemoveStaleSockets(const char *directory)
{
    DIR *dir = opendir(directory);
    if (dir == nullptr)
        return;
    uint32_t self = uint32_t(getpid());
    while (struct dirent *e = readdir(dir)) {
        uint32_t pid = pid_of_name(e->d_name);
        if (pid == 0 || (pid != self && ZULPL_ProcessAlive(pid)))
            continue;
        struct stat st;
        if (fstatat(dirfd(dir), e->d_name, &st, AT_SYMLINK_NOFOLLOW) == 0 && S_ISSOCK(st.st_mode))
            unlinkat(dirfd(dir), e->d_name, 0);
    }
    closedir(dir);
}

int ZULPL_ListenLocal(const char *path)
{
    struct sockaddr_un addr;
    memset(&addr, 0, sizeof addr);
    addr.sun_family = AF_UNIX;
    if (strlen(path) >= sizeof addr.sun_path)
        return -ENAMETOOLONG;
    strcpy(addr.sun_path, path);
    int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (fd < 0)
        return -errno;
    // The directory is closed to others, so the moment between bind and
    // chmod shows the socket to no one.
    if (bind(fd, reinterpret_cast<struct sockaddr *>(&addr), sizeof addr) != 0 ||
        chmod(path, 0600) != 0 || listen(fd, 64) != 0) {
        int e = -errno;
        close(fd);
        return e;
    }
    return fd;
}

int ZULPL_AcceptLocal(int listener, uint32_t *uid, uint32_t *pid)
{
    int fd = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
    if (fd < 0)
        return errno == EWOULDBLOCK ? -EAGAIN : -errno;
    struct ucred cred;
    socklen_t len = sizeof cred;
    if (getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &cred, &len) != 0) {
        int e = -errno;
        close(fd);
        return e;
    }
    *uid = uint32_t(cred.uid);
    *pid = uint32_t(cred.pid);
    return fd;
}

uint32_t ZULPL_UserId(void)
{
    return uint32_t(geteuid());
}

int ZULPL_WakePipe(int fds[2])
{
    return pipe2(fds, O_CLOEXEC | O_NONBLOCK) == 0 ? 0 : -errno;
}

namespace {

uint32_t epoll_bits(uint32_t want)
{
    return ((want & ZULPL_IO_READ) ? uint32_t(EPOLLIN) : 0u) | ((want & ZULPL_IO_WRITE) ? uint32_t(EPOLLOUT) : 0u);
}

int control(int set, int op, int fd, uint32_t key, uint32_t want)
{
    struct epoll_event e;
    memset(&e, 0, sizeof e);
    e.events = epoll_bits(want);
    e.data.u32 = key;
    return epoll_ctl(set, op, fd, &e) == 0 ? 0 : -errno;
}

} // namespace

int ZULPL_EventSet(void)
{
    int fd = epoll_create1(EPOLL_CLOEXEC);
    return fd >= 0 ? fd : -errno;
}

int ZULPL_EventAdd(int set, int fd, uint32_t key, uint32_t want)
{
    return control(set, EPOLL_CTL_ADD, fd, key, want);
}

int ZULPL_EventChange(int set, int fd, uint32_t key, uint32_t want)
{
    return control(set, EPOLL_CTL_MOD, fd, key, want);
}

int ZULPL_EventRemove(int set, int fd)
{
    return control(set, EPOLL_CTL_DEL, fd, 0, 0);
}

int ZULPL_EventWait(int set, ZULPL_event_t *events, uint32_t count, int milliseconds)
{
    struct epoll_event got[64];
    if (count > sizeof got / sizeof got[0])
        count = sizeof got / sizeof got[0];
    int n = epoll_wait(set, got, int(count), milliseconds);
    if (n < 0)
        return errno == EINTR ? 0 : -errno;
    for (int i = 0; i < n; ++i) {
        uint32_t r = got[i].events;
        events[i].key = got[i].data.u32;
        events[i].got = ((r & EPOLLIN) ? ZULPL_IO_READ : 0u) | ((r & EPOLLOUT) ? ZULPL_IO_WRITE : 0u) |
                        ((r & (EPOLLERR | EPOLLHUP)) ? ZULPL_IO_HANGUP : 0u);
    }
    return n;
}

int ZULPL_SpareFd(void)
{
    int fd = open("/dev/null", O_RDONLY | O_CLOEXEC);
    return fd >= 0 ? fd : -errno;
}

long ZULPL_ReadSome(int fd, void *buffer, size_t size)
{
    for (;;) {
        ssize_t n = read(fd, buffer, size);
        if (n >= 0)
            return long(n);
        if (errno != EINTR)
            return errno == EWOULDBLOCK ? -EAGAIN : -errno;
    }
}

long ZULPL_WritePieces(int fd, const ZULPL_piece_t *pieces, uint32_t count)
{
    struct iovec iov[ZULPL_PIECES_MAX];
    if (count > ZULPL_PIECES_MAX)
        count = ZULPL_PIECES_MAX;
    for (uint32_t i = 0; i < count; ++i)
        iov[i] = {const_cast<void *>(pieces[i].base), pieces[i].length};
    struct msghdr msg;
    memset(&msg, 0, sizeof msg);
    msg.msg_iov = iov;
    msg.msg_iovlen = count;
    for (;;) {
        ssize_t n = sendmsg(fd, &msg, MSG_NOSIGNAL | MSG_DONTWAIT);
        if (n >= 0)
            return long(n);
        if (errno != EINTR)
            return errno == EWOULDBLOCK ? -EAGAIN : -errno;
    }
}

void ZULPL_CloseFd(int fd)
{
    if (fd >= 0)
        close(fd);
}

void *ZULPL_MapPages(size_t size)
{
    void *pages = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    return pages == MAP_FAILED ? nullptr : pages;
}

void ZULPL_UnmapPages(void *pages, size_t size)
{
    if (pages != nullptr)
        munmap(pages, size);
}

void ZULPL_DropPages(void *pages, size_t size)
{
    if (pages != nullptr)
        (void)madvise(pages, size, MADV_DONTNEED);
}

void ZULPL_Wake(int fd)
{
    char one = 1;
    while (write(fd, &one, 1) < 0 && errno == EINTR) {
    }
}

void ZULPL_RemovePath(const char *path)
{
    unlink(path);
}
