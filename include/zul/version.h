/*
 * zul/version.h - the version of libzul that these headers belong to.
 *
 * MAJOR.MINOR.PATCH.  MAJOR changes only with a release that programs
 * built against an earlier one cannot run with; it is also the number in
 * the shared library's name, libzul.so.MAJOR, so the loader never gives a
 * program a library of another major version.  MINOR adds calls and
 * settings and keeps everything that was there; PATCH only fixes.
 *
 * The build takes its version from this file (CMakeLists.txt reads the
 * three numbers), so the headers, the shared library's name and version,
 * the pkg-config file and the CMake package always agree.
 */
#ifndef ZUL_VERSION_H
#define ZUL_VERSION_H

#define ZUL_VERSION_MAJOR 1
#define ZUL_VERSION_MINOR 0
#define ZUL_VERSION_PATCH 0

/* One number that grows with every release, for #if tests. */
#define ZUL_VERSION (ZUL_VERSION_MAJOR * 1000000 + ZUL_VERSION_MINOR * 1000 + ZUL_VERSION_PATCH)

/* True when these headers are of the given version or a later one. */
#define ZUL_VERSION_AT_LEAST(major, minor, patch) \
    (ZUL_VERSION >= (major) * 1000000 + (minor) * 1000 + (patch))

#define ZUL__TEXT(x) #x
#define ZUL__NUMBER_TEXT(x) ZUL__TEXT(x)
/* "MAJOR.MINOR.PATCH" */
#define ZUL_VERSION_STRING                                                    \
    ZUL__NUMBER_TEXT(ZUL_VERSION_MAJOR) "." ZUL__NUMBER_TEXT(ZUL_VERSION_MINOR) "." \
        ZUL__NUMBER_TEXT(ZUL_VERSION_PATCH)

#endif /* ZUL_VERSION_H */
