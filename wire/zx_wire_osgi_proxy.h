/*
 * "osgi_proxy", the bundle manager of the plug-in framework: install, cancel, start, stop,
 * uninstall, reset, the state and install-progress queries, the number of deployment units and the
 * plug-in permissions. Called through OSGI_JNI_BundleMng_RpcCall (own routing header, rotating
 * tag word, time-out by command).
 */
#ifndef ZX_WIRE_OSGI_PROXY_H
#define ZX_WIRE_OSGI_PROXY_H

#include "zx_wire_common.h"
#include "zx_wire_vdata.h"

#define ZX_OSGI_ENDPOINT "osgi_proxy"

#define ZX_OSGI_RPC_QUERY_STATE 0x47103036u     /* answers the states of the bundles named in a block, in a block */
#define ZX_OSGI_RPC_INSTALL_PROCESS 0x47103037u /* answers an install's state text and percent */
#define ZX_OSGI_RPC_RESERVED 0x47103038u        /* in the time-out table; the library sends it nothing */
#define ZX_OSGI_RPC_INSTALL 0x47103039u         /* installs a bundle from a package file (and starts it if asked) */
#define ZX_OSGI_RPC_CANCEL_INSTALL 0x4710303Cu  /* cancels an install in progress */
#define ZX_OSGI_RPC_OPERATE 0x4710303Du         /* starts, stops, uninstalls or resets ("FactoryPlugin") a bundle */
#define ZX_OSGI_RPC_GET_DU_COUNT 0x4720902Au    /* answers the number of deployment units in the first word */
#define ZX_OSGI_RPC_GET_PLUGIN_PERMISSIONS 0x47209031u /* writes the permissions into the caller's shared segment */

#define ZX_OSGI_MAX_BUNDLES 256u              /* names in a query list, entries in a state list */
#define ZX_OSGI_PERMISSION_SHM_KEY 0xD6EC6u   /* System V key of the permission segment */
#define ZX_OSGI_PERMISSION_BYTES_PER_DU 2170u /* permission segment bytes per deployment unit */

#pragma pack(push, 1)
/* start, stop, uninstall and reset of one bundle */
typedef struct {
    char acBundleName[128];
    char acAction[16];
    uint8_t aucResv[24];
} ZX_OSGI_OPERATE_REQ_S;

typedef struct {
    char acPluginName[128];
    char acFilePath[256];
    uint32_t uiFileSize;
    uint32_t uiStartFlag; /* 1: start once installed */
    uint8_t aucResv1[24];
    uint32_t uiResv2;
    uint32_t uiWanIndex;
    uint8_t aucResv3[196];
} ZX_OSGI_INSTALL_REQ_S;

typedef struct {
    char acBundleName[128];
    uint8_t aucResv[24];
} ZX_OSGI_CANCEL_REQ_S;

typedef struct {
    uint8_t aucResv1[148];
    char acPluginName[128];
    uint8_t aucResv2[24];
} ZX_OSGI_PROCESS_REQ_S;

typedef struct {
    uint32_t uiResult;
    uint8_t aucResv1[132];
    uint32_t uiStatus; /* 0: the plug-in is known */
    uint8_t aucResv2[64];
    char acState[16];
    uint32_t uiPercent;
} ZX_OSGI_PROCESS_REPLY_S;

/* The names of a state query, written to a shared block. */
typedef struct {
    uint8_t aucResv1[16];
    uint32_t uiFlag; /* always 1 */
    uint8_t aucResv2[128];
    uint32_t uiCount; /* names copied; a skipped element leaves its slot empty */
    uint8_t aucResv3[16];
    char aacBundleName[ZX_OSGI_MAX_BUNDLES][128];
} ZX_OSGI_QUERY_LIST_S;

typedef struct {
    char acBundleName[128];
    char acVersion[24];
    char acState[16];
} ZX_OSGI_BUNDLE_INFO_S;

/* The answer of a state query, read from a shared block. */
typedef struct {
    uint8_t aucResv1[136];
    uint32_t uiStatus; /* 0: good */
    uint8_t aucResv2[64];
    int32_t iCount;
    ZX_OSGI_BUNDLE_INFO_S astBundle[ZX_OSGI_MAX_BUNDLES];
} ZX_OSGI_STATE_LIST_S;

/* Reply of the deployment-unit count; only the first word is read. */
typedef struct {
    uint32_t uiCount;
    uint8_t aucResv[1016];
} ZX_OSGI_DU_COUNT_REPLY_S;

/* Request of the plug-in permissions: the size of the segment the caller created. */
typedef struct {
    uint32_t uiSize;
} ZX_OSGI_PERMISSIONS_REQ_S;
#pragma pack(pop)

ZX_WIRE_SIZE(ZX_OSGI_OPERATE_REQ_S, 168);
ZX_WIRE_OFFSET(ZX_OSGI_OPERATE_REQ_S, acBundleName, 0);
ZX_WIRE_OFFSET(ZX_OSGI_OPERATE_REQ_S, acAction, 128);
ZX_WIRE_OFFSET(ZX_OSGI_OPERATE_REQ_S, aucResv, 144);
ZX_WIRE_SIZE(ZX_OSGI_INSTALL_REQ_S, 620);
ZX_WIRE_OFFSET(ZX_OSGI_INSTALL_REQ_S, acPluginName, 0);
ZX_WIRE_OFFSET(ZX_OSGI_INSTALL_REQ_S, acFilePath, 128);
ZX_WIRE_OFFSET(ZX_OSGI_INSTALL_REQ_S, uiFileSize, 384);
ZX_WIRE_OFFSET(ZX_OSGI_INSTALL_REQ_S, uiStartFlag, 388);
ZX_WIRE_OFFSET(ZX_OSGI_INSTALL_REQ_S, aucResv1, 392);
ZX_WIRE_OFFSET(ZX_OSGI_INSTALL_REQ_S, uiResv2, 416);
ZX_WIRE_OFFSET(ZX_OSGI_INSTALL_REQ_S, uiWanIndex, 420);
ZX_WIRE_OFFSET(ZX_OSGI_INSTALL_REQ_S, aucResv3, 424);
ZX_WIRE_SIZE(ZX_OSGI_CANCEL_REQ_S, 152);
ZX_WIRE_OFFSET(ZX_OSGI_CANCEL_REQ_S, acBundleName, 0);
ZX_WIRE_OFFSET(ZX_OSGI_CANCEL_REQ_S, aucResv, 128);
ZX_WIRE_SIZE(ZX_OSGI_PROCESS_REQ_S, 300);
ZX_WIRE_OFFSET(ZX_OSGI_PROCESS_REQ_S, aucResv1, 0);
ZX_WIRE_OFFSET(ZX_OSGI_PROCESS_REQ_S, acPluginName, 148);
ZX_WIRE_OFFSET(ZX_OSGI_PROCESS_REQ_S, aucResv2, 276);
ZX_WIRE_SIZE(ZX_OSGI_PROCESS_REPLY_S, 224);
ZX_WIRE_OFFSET(ZX_OSGI_PROCESS_REPLY_S, uiResult, 0);
ZX_WIRE_OFFSET(ZX_OSGI_PROCESS_REPLY_S, aucResv1, 4);
ZX_WIRE_OFFSET(ZX_OSGI_PROCESS_REPLY_S, uiStatus, 136);
ZX_WIRE_OFFSET(ZX_OSGI_PROCESS_REPLY_S, aucResv2, 140);
ZX_WIRE_OFFSET(ZX_OSGI_PROCESS_REPLY_S, acState, 204);
ZX_WIRE_OFFSET(ZX_OSGI_PROCESS_REPLY_S, uiPercent, 220);
ZX_WIRE_SIZE(ZX_OSGI_QUERY_LIST_S, 32936);
ZX_WIRE_OFFSET(ZX_OSGI_QUERY_LIST_S, aucResv1, 0);
ZX_WIRE_OFFSET(ZX_OSGI_QUERY_LIST_S, uiFlag, 16);
ZX_WIRE_OFFSET(ZX_OSGI_QUERY_LIST_S, aucResv2, 20);
ZX_WIRE_OFFSET(ZX_OSGI_QUERY_LIST_S, uiCount, 148);
ZX_WIRE_OFFSET(ZX_OSGI_QUERY_LIST_S, aucResv3, 152);
ZX_WIRE_OFFSET(ZX_OSGI_QUERY_LIST_S, aacBundleName, 168);
ZX_WIRE_SIZE(ZX_OSGI_BUNDLE_INFO_S, 168);
ZX_WIRE_OFFSET(ZX_OSGI_BUNDLE_INFO_S, acBundleName, 0);
ZX_WIRE_OFFSET(ZX_OSGI_BUNDLE_INFO_S, acVersion, 128);
ZX_WIRE_OFFSET(ZX_OSGI_BUNDLE_INFO_S, acState, 152);
ZX_WIRE_SIZE(ZX_OSGI_STATE_LIST_S, 43216);
ZX_WIRE_OFFSET(ZX_OSGI_STATE_LIST_S, aucResv1, 0);
ZX_WIRE_OFFSET(ZX_OSGI_STATE_LIST_S, uiStatus, 136);
ZX_WIRE_OFFSET(ZX_OSGI_STATE_LIST_S, aucResv2, 140);
ZX_WIRE_OFFSET(ZX_OSGI_STATE_LIST_S, iCount, 204);
ZX_WIRE_OFFSET(ZX_OSGI_STATE_LIST_S, astBundle, 208);
ZX_WIRE_SIZE(ZX_OSGI_DU_COUNT_REPLY_S, 1020);
ZX_WIRE_OFFSET(ZX_OSGI_DU_COUNT_REPLY_S, uiCount, 0);
ZX_WIRE_OFFSET(ZX_OSGI_DU_COUNT_REPLY_S, aucResv, 4);
ZX_WIRE_SIZE(ZX_OSGI_PERMISSIONS_REQ_S, 4);
ZX_WIRE_OFFSET(ZX_OSGI_PERMISSIONS_REQ_S, uiSize, 0);

#endif
