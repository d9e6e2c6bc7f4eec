/* Stand-in for a platform basic library that has the bus initialisation and nothing else: a
 * start-up that looks its functions up in it finds ZX_MSG_Init and misses the ones after it. */
#include <stdint.h>

uint32_t ZX_MSG_Init(const char *name, uint32_t sendQueue, uint32_t recvQueue, uint32_t flags) {
    (void)name;
    (void)sendQueue;
    (void)recvQueue;
    (void)flags;
    return 0;
}
