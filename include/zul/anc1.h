/*
 * zul/anc1.h - anchors and aliases.
 *
 * An anchor is a named, process-wide address.  Pieces of a process that
 * know nothing of each other (two shared objects, a plug-in and its host)
 * meet through one: one side saves an address under a name, or has a named
 * data area created, and any other side locates it by the same name.
 * Names compare exactly: by length, then byte for byte; case counts and
 * zero bytes are part of a name.  Locating and creating is one step, so
 * threads racing to create one name get one anchor.
 *
 *     ZULAN_name_t name = ZULAN_Name("cache.v1", 0);
 *     void *area;
 *     int reason;
 *     if (ANC1_LocateCreateAnchor(name, sizeof(struct cache), &area, &reason)
 *             == STC1_Warning)
 *         ... this call created the area: fill it in ...
 *
 * An alias is a checked 32-bit handle that stands for an object's address
 * and can be handed out instead of it.  It turns back into the address
 * until it is released; a released or forged alias is refused, never
 * followed.  Aliases are resources (zul/res1.h) of the class "ANC1_Alias".
 *
 * Calls with a `reason` store a reason code (zul/rsn1.h) there; it may be
 * null.  docs/anchors.md tells the whole story.
 */
#ifndef ZUL_ANC1_H
#define ZUL_ANC1_H

#include <zul/rsn1.h>
#include <zul/stc1.h>

#include <string.h>

ZUL_BEGIN_DECLS

/* An anchor's name, passed by value: `length` bytes at `text`, not
 * terminated.  `size`, the size of the caller's field, is not looked at.
 * A length of 0 is a valid name; a negative length, or a null text with a
 * positive length, is refused with STC1_BadArgument and RSN1_Arguments. */
typedef struct ZULAN_name {
    const char *text;
    uint16_t size;
    int16_t length;
} ZULAN_name_t;

/* A name of `length` bytes at `text`, or of the zero-terminated text when
 * `length` is 0 (a null text then gives the empty name).  Names longer
 * than 32767 bytes cannot be made: the length comes out negative and the
 * calls refuse it. */
static inline ZULAN_name_t ZULAN_Name(const char *text, int16_t length)
{
    ZULAN_name_t name;
    size_t n = length != 0 ? (size_t)(uint16_t)length : text != NULL ? strlen(text) : 0;
    name.text = text;
    name.size = (uint16_t)n;
    name.length = n > 32767 ? (int16_t)-1 : (int16_t)n;
    return name;
}

/* Builds the family's block.  Optional: every other call builds it too.
 * Returns STC1_Success. */
ZUL_API int ANC1_Initialize(void);

/* Does nothing: anchors live as long as the process.  Returns
 * STC1_Success. */
ZUL_API int ANC1_Terminate(void);

/* Keeps `address` under a new name.
 *   STC1_Success    reason RSN1_NoError
 *   STC1_Duplicate  RSN1_Prior: the name exists; its address stays
 *   STC1_Shortage   RSN1_Storage: no memory */
ZUL_API int ANC1_SaveAnchorAddress(ZULAN_name_t name, void *address, int *reason);

/* The address kept under a name goes to *address.
 *   STC1_Success    RSN1_NoError
 *   STC1_NotThere   RSN1_NotFound; *address is untouched
 *   STC1_BadArgument RSN1_Arguments: a null `address` */
ZUL_API int ANC1_LocateAnchorAddress(ZULAN_name_t name, void **address, int *reason);

/* Locates a name, or creates it with a data area of `size` bytes, in one
 * step.  *address gets the anchor's address: the saved one, the data area
 * (not cleared), or null for an anchor made with `size` 0.
 *   STC1_Success    RSN1_NoError: the anchor existed; `size` is ignored
 *   STC1_Warning    RSN1_NotFound: this call created it
 *   STC1_Shortage   RSN1_Storage: no memory; *address is untouched
 *   STC1_BadArgument RSN1_Arguments: a null `address` */
ZUL_API int ANC1_LocateCreateAnchor(ZULAN_name_t name, uint32_t size, void **address,
                                    int *reason);

/* Removes a name.  A data area made for it is freed with it; a saved
 * address is the saver's and is not touched.
 *   STC1_Success    RSN1_NoReason
 *   STC1_NotThere   RSN1_NotFound */
ZUL_API int ANC1_ForgetAnchorAddress(ZULAN_name_t name, int *reason);

/* Makes an alias for `object` and stores its handle in *alias.  Returns
 * the status of RES1_Create: STC1_Success, STC1_Shortage, or
 * STC1_BadArgument for a null `alias`. */
ZUL_API int ANC1_ReserveAlias(uint32_t *alias, void *object);

/* The object of a live alias goes to *object (which may be null).
 *   STC1_Success
 *   STC1_NotThere   not a live handle: released, stale or forged
 *   STC1_Authority  a live handle of another resource class
 * *object is null on failure. */
ZUL_API int ANC1_ConvertAlias(uint32_t alias, void **object);

/* Ends an alias; the object is not touched.  Returns STC1_Success,
 * STC1_NotThere or STC1_Authority, as ANC1_ConvertAlias. */
ZUL_API int ANC1_ReleaseAlias(uint32_t alias);

ZUL_END_DECLS

#endif /* ZUL_ANC1_H */
