/* A module that knows its peer only by the name of its anchor: it saves
 * the address of its own data, meets the peer in an area that whichever
 * comes first creates, and looks for the peer's data. */
#include <zul/anc1.h>

__attribute__((visibility("default"))) int MODULE_DATA = MODULE_ID;

__attribute__((visibility("default"))) int MODULE_ENTRY(void **area, void **peer)
{
    ANC1_SaveAnchorAddress(ZULAN_Name(MODULE_NAME, 0), &MODULE_DATA, NULL);
    int status = ANC1_LocateCreateAnchor(ZULAN_Name("meeting", 0), sizeof(int), area, NULL);
    if (status == STC1_Warning)
        *(int *)*area = MODULE_ID;
    ANC1_LocateAnchorAddress(ZULAN_Name(PEER_NAME, 0), peer, NULL);
    return status;
}
