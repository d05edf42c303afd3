// internal/zullinks.h - rings of records linked through two of their own
// fields: the one way the library links, splices and unlinks a list; and
// lists that only grow at their head, which readers walk with no lock.
//
// A record keeps its link fields where its layout puts them and under the
// names it gives them (`next` and `prev`, `next` and `prior`); a list says
// where they are with a ZUL_links_t.  Every list is a ring: following the
// forward links from any record comes back to it.
//
// - A list with a head (the anchors, the environment's variables, the
//   fault handling's threads, the platform's mutexes) names a sentinel: a
//   pointer that stands for the head in the links, is compared and never
//   read as a record.  The head's own two links are two words of the block
//   that owns the list, `first` and `last`.  An empty list has both at the
//   sentinel; a walk starts at `*first` and ends when it meets the sentinel.
// - A ring without a head (the children of a resource, of whom the owner
//   names one; a console's chunks of output) has no sentinel: a lone
//   record is a ring of its own.
//
// Every link is stored with release order, and in an order that keeps a
// forward walk sound for a reader that takes no lock (a signal handler
// walks the list of threads): a record is complete before the link that
// makes it reachable is stored, and a record taken out keeps its own
// links, so that a reader standing on it walks on.  Writers hold the
// list's lock.
#ifndef ZUL_SRC_INTERNAL_ZULLINKS_H
#define ZUL_SRC_INTERNAL_ZULLINKS_H

template <typename Node> struct ZUL_links {
    Node *Node::*next; // the record's forward link
    Node *Node::*prev; // and its backward link
    Node *head;        // the sentinel; null for a ring without head
    Node **first;      // the head's forward link
    Node **last;       // the head's backward link
};

// The words that hold the forward and backward links of `node`.
template <typename Node> inline Node **ZUL_NextLink(const ZUL_links<Node> &l, Node *node)
{
    return node == l.head ? l.first : &(node->*l.next);
}

template <typename Node> inline Node **ZUL_PrevLink(const ZUL_links<Node> &l, Node *node)
{
    return node == l.head ? l.last : &(node->*l.prev);
}

// The record after and before `node`; the sentinel at the ends of a list.
template <typename Node> inline Node *ZUL_Next(const ZUL_links<Node> &l, Node *node)
{
    return __atomic_load_n(ZUL_NextLink(l, node), __ATOMIC_ACQUIRE);
}

template <typename Node> inline Node *ZUL_Prev(const ZUL_links<Node> &l, Node *node)
{
    return __atomic_load_n(ZUL_PrevLink(l, node), __ATOMIC_ACQUIRE);
}

template <typename Node> inline void ZUL_SetLink(Node **link, Node *to)
{
    __atomic_store_n(link, to, __ATOMIC_RELEASE);
}

// Makes `node` a ring of its own; given the sentinel, empties the list.
template <typename Node> inline void ZUL_RingInit(const ZUL_links<Node> &l, Node *node)
{
    ZUL_SetLink(ZUL_NextLink(l, node), node);
    ZUL_SetLink(ZUL_PrevLink(l, node), node);
}

// Puts the ring that `ring` belongs to (a lone record, or many, none of
// them in another list) in behind `at`: `ring` comes next after `at`,
// and the record before `ring` comes before what followed `at`.
template <typename Node> inline void ZUL_RingSplice(const ZUL_links<Node> &l, Node *at, Node *ring)
{
    Node *end = ZUL_Prev(l, ring);
    Node *after = ZUL_Next(l, at);
    ZUL_SetLink(ZUL_NextLink(l, end), after);
    ZUL_SetLink(ZUL_PrevLink(l, ring), at);
    ZUL_SetLink(ZUL_PrevLink(l, after), end);
    ZUL_SetLink(ZUL_NextLink(l, at), ring); // last: now a walk can reach it
}

// Puts the lone record `node` in front of `at`; in front of the sentinel
// is the end of the list.
template <typename Node> inline void ZUL_RingInsertBefore(const ZUL_links<Node> &l, Node *at, Node *node)
{
    ZUL_RingInit(l, node);
    ZUL_RingSplice(l, ZUL_Prev(l, at), node);
}

// Takes `node` out of its ring.  Its own links stay as they were, for a
// reader standing on it; ZUL_RingInit makes it a ring of its own again.
template <typename Node> inline void ZUL_RingUnlink(const ZUL_links<Node> &l, Node *node)
{
    Node *next = ZUL_Next(l, node);
    Node *prev = ZUL_Prev(l, node);
    ZUL_SetLink(ZUL_NextLink(l, prev), next);
    ZUL_SetLink(ZUL_PrevLink(l, next), prev);
}

// Opens the ring without a head that `node` belongs to behind `node`: the
// record that followed `node` becomes the first of a chain that ends with
// `node`, whose forward link is then null.  Returns that first record.
// The backward links are left as they were; a chain is walked forwards.
template <typename Node> inline Node *ZUL_RingOpen(const ZUL_links<Node> &l, Node *node)
{
    Node *first = ZUL_Next(l, node);
    ZUL_SetLink<Node>(ZUL_NextLink(l, node), nullptr);
    return first;
}

// ------------------------------------------------------------------
// Lists that only grow
// ------------------------------------------------------------------

// A list of records that are pushed at its head and never taken out (the
// trace's exit routines and line-head routines): a reader notes the head
// with ZUL_PushedFirst and walks `next` with no lock, seeing the list as
// it was at that moment or as it is later, never a record half made.
// Pushers need no lock either.  `Node` has a `next` field.
template <typename Node> inline void ZUL_Push(Node **head, Node *node)
{
    Node *first = __atomic_load_n(head, __ATOMIC_RELAXED);
    do
        node->next = first;
    while (!__atomic_compare_exchange_n(head, &first, node, true, __ATOMIC_RELEASE,
                                        __ATOMIC_RELAXED));
}

template <typename Node> inline Node *ZUL_PushedFirst(Node *const *head)
{
    return __atomic_load_n(head, __ATOMIC_ACQUIRE);
}

#endif
