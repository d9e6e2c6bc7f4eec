/* A plain C program built against an installed kit only (pkg-config zxgateway, or
 * find_package(ZxGateway)): it reads two feature switches of the gateway profile the platform
 * library finds by itself, and asks the simulated "app_m" for the LOID over the bus with the command id
 * and endpoint name of the wire catalogue. Prints one line each; exit status 1 on a failure. */
#include <stdio.h>
#include <string.h>

#include "zx_platform.h"
#include "zx_wire.h"

int main(void) {
    printf("FT_PLUGIN_PERMISSION_ENABLE %u\n", ZX_Feature_IsSupportByFeatureName("FT_PLUGIN_PERMISSION_ENABLE"));
    printf("FT_CWMP_OPCO_RMS %u\n", ZX_Feature_IsSupportByFeatureName("FT_CWMP_OPCO_RMS"));

    ZX_MSG_HEAD_S head;
    memset(&head, 0, sizeof head);
    strncpy(head.acSrcProcName, ZX_MSG_GetCurProcName(), sizeof head.acSrcProcName - 1);
    strncpy(head.acDstProcName, ZX_APPM_ENDPOINT, sizeof head.acDstProcName - 1);
    uint32_t zero = 0;
    char loid[64] = {0};
    uint32_t status = ZX_MSG_RpcCall(&head, ZX_APPM_RPC_GET_LOID, 0, &zero, sizeof zero, loid, sizeof loid - 1, 5000);
    if (status != 0) {
        printf("LOID call failed: 0x%08X\n", status);
        return 1;
    }
    printf("LOID %s\n", loid);
    return 0;
}
