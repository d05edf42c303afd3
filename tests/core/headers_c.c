/* Compiles every public header as C11; the function is called from a C++
 * test so that the object is really linked and its inline reads used. */
#include <zul/zul.h>

int zul_headers_c_check(void)
{
    static ZULSS_descriptor_t unused;
    ZULSS_lock_t lock = {0, 0};
    ZULLX_handle_t scanner = {0, 0};
    ZULLX_arg_t arg = {0};
    (void)lock;
    (void)scanner;
    (void)arg;
    ZULRE_destructor_t destructor = 0;
    (void)destructor;
    return (int)sizeof(ZULSS_descriptor_t) + (unused.result != 0);
    SIG1_Set set;
    (void)lock;
    SIG1_EmptySet(&set);
    SIG1_AddSet(&set, SIG1_SIGXFSZ);
    return (int)sizeof(ZULSS_descriptor_t) + (unused.result != 0) +
           SIG1_IsMember(&set, SIG1_SIGXFSZ) - 1;
}
