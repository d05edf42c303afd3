// ZULWN_ReadModules: the modules of the process and their build IDs, read
// in a way that is safe inside a signal handler.
//
// The list comes from /proc/self/maps, read with open(2) and read(2): the
// loader's own list would need its lock, which the failing thread may
// hold.  Each file mapped into the process is one module, from the lowest
// to the highest address mapped from it.  The GNU build ID is read from
// the module's program headers and notes in memory, through
// ZULWN_ReadMemory, so a module that is not what it seems costs its ID
// and nothing else.
#include "wnt/zulwn.h"
#include "platform/zulplrp.h"

#include <elf.h>
#include <string.h>

const char *ZULWN_BaseName(const char *path)
{
    const char *slash = strrchr(path, '/');
    return slash ? slash + 1 : path;
}

static uintptr_t hex_value(const char **p)
{
    uintptr_t v = 0;
    for (;; (*p)++) {
        char c = **p;
        if (c >= '0' && c <= '9')
            v = v * 16 + (uintptr_t)(c - '0');
        else if (c >= 'a' && c <= 'f')
            v = v * 16 + (uintptr_t)(c - 'a' + 10);
        else
            return v;
    }
}

// Reads the build ID of the ELF image whose first page is mapped at `base`.
static void read_build_id(ZULWN_module_t *module)
{
    Elf64_Ehdr header;
    if (!ZULWN_ReadMemory(module->base, &header, sizeof header) ||
        memcmp(header.e_ident, ELFMAG, SELFMAG) != 0 || header.e_ident[EI_CLASS] != ELFCLASS64 ||
        header.e_phentsize != sizeof(Elf64_Phdr) || header.e_phnum > 64)
        return;
    Elf64_Phdr table[64];
    if (!ZULWN_ReadMemory(module->base + header.e_phoff, table, header.e_phnum * sizeof table[0]))
        return;
    // The load bias: where the first loaded segment's page was put, less
    // the address the file asked for (0 for an executable at a fixed
    // address).
    uintptr_t bias = 0;
    for (unsigned i = 0; i < header.e_phnum; i++)
        if (table[i].p_type == PT_LOAD) {
            bias = module->base - (table[i].p_vaddr & ~(uintptr_t)0xFFF);
            break;
        }
    for (unsigned i = 0; i < header.e_phnum; i++) {
        if (table[i].p_type != PT_NOTE)
            continue;
        unsigned char notes[1024];
        uint32_t size = table[i].p_filesz < sizeof notes ? (uint32_t)table[i].p_filesz
                                                          : (uint32_t)sizeof notes;
        if (!ZULWN_ReadMemory(bias + table[i].p_vaddr, notes, size))
            continue;
        for (uint32_t at = 0; at + sizeof(Elf64_Nhdr) <= size;) {
            Elf64_Nhdr note;
            memcpy(&note, notes + at, sizeof note);
            uint32_t name = at + (uint32_t)sizeof note;
            uint32_t desc = name + ((note.n_namesz + 3) & ~3u);
            uint32_t next = desc + ((note.n_descsz + 3) & ~3u);
            if (next > size || next <= at)
                break;
            if (note.n_type == NT_GNU_BUILD_ID && note.n_namesz == 4 &&
                memcmp(notes + name, "GNU", 4) == 0 && note.n_descsz <= sizeof module->buildId) {
                memcpy(module->buildId, notes + desc, note.n_descsz);
                module->idLength = note.n_descsz;
                return;
            }
            at = next;
        }
    }
}

// Takes one line of the map: start-end perms offset dev inode path.
static uint32_t take_line(const char *line, ZULWN_module_t *modules, uint32_t count,
                          uint32_t room)
{
    const char *p = line;
    uintptr_t start = hex_value(&p);
    if (*p++ != '-')
        return count;
    uintptr_t end = hex_value(&p);
    const char *path = strchr(p, '/');
    if (path == nullptr)
        return count; // anonymous memory, the stack, the heap
    if (count > 0 && strcmp(modules[count - 1].path, path) == 0) {
        if (end > modules[count - 1].end)
            modules[count - 1].end = end;
        return count;
    }
    if (count == room)
        return count;
    ZULWN_module_t *m = &modules[count];
    memset(m, 0, sizeof *m);
    m->base = start;
    m->end = end;
    size_t length = strlen(path);
    if (length >= sizeof m->path)
        length = sizeof m->path - 1;
    memcpy(m->path, path, length);
    return count + 1;
}

uint32_t ZULWN_ReadModules(ZULWN_module_t *modules, uint32_t room)
{
    int fd = ZULPL_OpenRead("/proc/self/maps");
    if (fd < 0)
        return 0;
    uint32_t count = 0;
    char chunk[2048];
    char line[512];
    uint32_t held = 0;
    bool skipping = false; // the rest of a line too long to keep
    for (;;) {
        long n = ZULPL_Read(fd, chunk, sizeof chunk);
        if (n <= 0)
            break;
        for (long i = 0; i < n; i++) {
            char c = chunk[i];
            if (c != '\n') {
                if (held < sizeof line - 1)
                    line[held++] = c;
                else
                    skipping = true;
                continue;
            }
            line[held] = '\0';
            if (!skipping)
                count = take_line(line, modules, count, room);
            held = 0;
            skipping = false;
        }
    }
    ZULPL_Close(fd);
    for (uint32_t i = 0; i < count; i++)
        read_build_id(&modules[i]);
    return count;
}

const ZULWN_module_t *ZULWN_FindModule(const ZULWN_module_t *modules, uint32_t count,
                                       uintptr_t address)
{
    for (uint32_t i = 0; i < count; i++)
        if (address >= modules[i].base && address < modules[i].end)
            return &modules[i];
    return nullptr;
}
