/*
 * zul/res1.h - resources: objects named by checked 32-bit handles.
 *
 * A family that wants its objects reached through handles registers a
 * resource class with a destructor, then creates resources of that class.
 * A handle is validated and counted in one step: RES1_Use hands back the
 * object and keeps it alive until the matching RES1_Drop.  A stale,
 * foreign or forged handle is refused with STC1_NotThere, never followed;
 * any 32-bit word may be handed in.
 *
 * Destruction is a request.  RES1_Destroy schedules it; the destructor
 * runs once, on the thread that drops the last use, with no lock of the
 * family held, so it may call RES1_ itself.  A resource created with an
 * owner holds a use on its owner until its own end, so children end
 * before their owner.
 *
 *     uint32_t cls, h;
 *     void *obj;
 *     RES1_Register(&cls, close_thing, "thing", 0);
 *     RES1_Create(&h, cls, 0, thing);      holds one use
 *     if (RES1_Use(h, cls, &obj) == STC1_Success) {
 *         ... work with obj ...
 *         RES1_Drop(h);
 *     }
 *     RES1_Destroy(h);                     scheduled
 *     RES1_Drop(h);                        last use: close_thing(thing)
 *
 * docs/resources.md tells the whole story.
 */
#ifndef ZUL_RES1_H
#define ZUL_RES1_H

#include <zul/stc1.h>

ZUL_BEGIN_DECLS

/* A handle is a 32-bit word: slot (bits 0-7), page (bits 8-19) and
 * generation (bits 20-31).  The generation is odd while the resource is
 * alive, and 0 is never a handle. */
#define RES1_SLOT_BITS 8
#define RES1_PAGE_BITS 12
#define RES1_GENERATION_BITS 12

/* A resource destructor: called once with the object given to
 * RES1_Create, when the last use of a resource whose destruction was
 * requested has been dropped. */
typedef void (*ZULRE_destructor_t)(void *data);

/* Registers a resource class and stores its handle in *classOut.
 * `destructor` may be null.  `name` is `nameLength` bytes, or
 * zero-terminated and measured when `nameLength` is 0; two classes may
 * have the same name.  Classes are never removed.
 *   STC1_Success
 *   STC1_Shortage      no memory, or no handle left
 *   STC1_BadArgument   a null `classOut` or `name`
 * *classOut is 0 on failure. */
ZUL_API int RES1_Register(uint32_t *classOut, ZULRE_destructor_t destructor, const char *name,
                          uint32_t nameLength);

/* Creates a resource of a class for the object `data` and stores its
 * handle in *handleOut.  The caller holds one use of the new resource.
 * `ownerHandle` (0 for none) names the resource that owns it: the owner
 * reaches its end only after this one.  An owner whose destruction is
 * under way takes no children: the resource is made all the same, with
 * its destruction already scheduled.
 *   STC1_Success
 *   STC1_BadObject     `classHandle` is not the handle of a class
 *   STC1_BadArgument   `ownerHandle` is not good, or a null `handleOut`
 *   STC1_Shortage      no memory, or no handle left
 * *handleOut is 0 on failure. */
ZUL_API int RES1_Create(uint32_t *handleOut, uint32_t classHandle, uint32_t ownerHandle,
                        void *data);

/* Checks a handle and takes one use of the resource; its object goes to
 * *dataOut (if not null).  Each use must be matched by one RES1_Drop.
 *   STC1_Success
 *   STC1_NotThere      the handle is not good: stale, freed or forged
 *   STC1_Authority     the resource is of another class; no use taken
 * *dataOut is null on failure. */
ZUL_API int RES1_Use(uint32_t handle, uint32_t classHandle, void **dataOut);

/* Ends one use.  If it was the last and destruction has been requested,
 * the destructor runs now, on this thread, and then the owner's turn
 * comes.
 *   STC1_Success, STC1_NotThere, STC1_BadObject (a class's handle) */
ZUL_API int RES1_Drop(uint32_t handle);

/* Requests the destruction of a resource and of all resources it owns,
 * deepest first.  Each ends when its last use has been dropped; the
 * handles stay good until then.
 *   STC1_Success       destruction is scheduled
 *   STC1_Warning       it had been scheduled already
 *   STC1_NotThere      the handle is not good
 *   STC1_BadObject     a class's handle: classes cannot be destroyed */
ZUL_API int RES1_Destroy(uint32_t handle);

ZUL_END_DECLS

#endif /* ZUL_RES1_H */
