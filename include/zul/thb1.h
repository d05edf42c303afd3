/*
 * zul/thb1.h - the threaded height-balanced tree.
 *
 * An ordered container of opaque one-word items under an ordering that the
 * caller supplies.  The tree is height-balanced, so that search, insertion
 * and deletion cost O(log n), and threaded: every link that would be null
 * in a plain binary tree points to the in-order neighbour instead, so that
 * a cursor steps forward or back with neither a stack nor parent links.
 *
 * The tree never looks inside an item.  It asks the `key` callback for the
 * key of an item whenever it compares, and compares keys with `compare`;
 * keys are never stored.  The identity function is a legal `key`.
 *
 * A tree belongs to one thread at a time: the family takes no lock, and
 * the caller serialises every call on a tree, walks included.  Nothing in
 * the family prints or traces.  A broken invariant (a corrupted tree, or a
 * `compare` that is not a strict total order) ends the process with a
 * message on standard error.
 */
#ifndef ZUL_THB1_H
#define ZUL_THB1_H

#include <zul/stc1.h>

ZUL_BEGIN_DECLS

typedef struct THB1P_Tree THB1P_Tree; /* the tree record; private */
typedef struct THB1P_Node THB1P_Node; /* one node; private */

/* Tree handle, owned by the caller in any storage.  Valid when `tree` is
 * non-null and `eye` holds the four characters "TREE" (no terminator). */
typedef struct THB1_Tree {
    THB1P_Tree *tree;
    char eye[4];
} THB1_Tree;

/* Cursor, a plain value owned by the caller.  Valid when `node` is
 * non-null and `eye` holds "NODE".  The tree does not know its cursors: a
 * cursor stays usable while the node it stands on lives. */
typedef struct THB1_Cursor {
    THB1P_Node *node;
    char eye[4];
} THB1_Cursor;

/* The ordering: negative if `first` orders before `second`, positive if
 * after, 0 if equal; only the sign is used.  It must be a strict total
 * order and give opposite signs when its arguments are exchanged. */
typedef int (*THB1_CompareFn)(const void *first, const void *second);

/* The key of an item. */
typedef const void *(*THB1_KeyFn)(void *data);

/* Called with an item whenever the tree gives it up. */
typedef void (*THB1_DestroyFn)(void *data);

/* Creates an empty tree in *handle.  `destroy` may be null.
 * STC1_Success; STC1_Shortage if memory ran out, STC1_BadArgument if
 * `compare` or `key` is null (in both cases *handle is left all zero);
 * STC1_BadObject if `handle` is null. */
ZUL_API int THB1_Create(THB1_Tree *handle, THB1_CompareFn compare, THB1_KeyFn key,
                        THB1_DestroyFn destroy);

/* Gives up every item (calling `destroy` in ascending key order), frees
 * the tree and clears *handle.  STC1_Success or STC1_BadObject; the handle
 * is cleared in both cases. */
ZUL_API int THB1_Destroy(THB1_Tree *handle);

/* Gives up every item as THB1_Destroy does and leaves an empty tree under
 * the same handle.  STC1_Success or STC1_BadObject. */
ZUL_API int THB1_Empty(THB1_Tree *handle);

/* Looks up `key` (a key, not an item).  On STC1_Success the cursor stands
 * on the item and *dataOut holds it.  STC1_NotThere leaves the cursor
 * cleared and *dataOut untouched.  `cursor` and `dataOut` may be null. */
ZUL_API int THB1_Find(THB1_Tree *handle, THB1_Cursor *cursor, const void *key,
                      void **dataOut);

/* Places the cursor on the position before the first and after the last
 * item.  STC1_Success or STC1_BadObject (the cursor is then cleared). */
ZUL_API int THB1_Reset(THB1_Tree *handle, THB1_Cursor *cursor);

/* Steps the cursor to the next (THB1_Next) or previous (THB1_Prior) item in
 * key order and stores it in *dataOut.  At the end of the walk the answer
 * is STC1_NotThere, *dataOut is 0 and the cursor does not move.
 * STC1_BadObject for an invalid cursor.  `dataOut` may be null. */
ZUL_API int THB1_Next(THB1_Cursor *cursor, void **dataOut);
ZUL_API int THB1_Prior(THB1_Cursor *cursor, void **dataOut);

/* Adds `data` under the key key(data).  If an item with an equal key is
 * present: with `replace` zero the answer is STC1_Duplicate and nothing
 * changes; with `replace` nonzero the old item is given up and `data`
 * takes its place.  On STC1_Success the cursor stands on the item; on any
 * other answer it is cleared.  STC1_Shortage if memory ran out (the tree
 * is unchanged), STC1_BadObject for an invalid handle.  `cursor` may be
 * null. */
ZUL_API int THB1_Insert(THB1_Tree *handle, THB1_Cursor *cursor, void *data, int replace);

/* Removes the item with key `key` (a key, not an item) and gives it up.
 * STC1_Success, STC1_NotThere or STC1_BadObject.  After a deletion, a
 * cursor that stood on the removed item or on either of its in-order
 * neighbours must not be used (reset it or find again); every other cursor
 * still stands on its item, and a cursor on the header stays good. */
ZUL_API int THB1_Delete(THB1_Tree *handle, const void *key);

ZUL_END_DECLS

#endif /* ZUL_THB1_H */
