// THB1P_FreeNodes: gives up every item of a tree and frees its nodes.
#include "thb/zulth.h"

#include <stdlib.h>

void THB1P_FreeNodes(THB1P_Tree *tree)
{
    // Each node's successor is taken before the node is freed: the
    // successor search reads the node's links.
    THB1_DestroyFn destroy = tree->destroy;
    THB1P_Node *n = THB1P_Next(tree->head);
    while (n != nullptr) {
        THB1P_Node *next = THB1P_Next(n);
        if (destroy != nullptr)
            destroy(n->data);
        free(n);
        n = next;
    }
}
