/*
 * "usb_mngt", the USB management service: registration of plug-ins for device types, device locks,
 * the device file of a device id, and the attached discs (names, mount paths). Called through
 * OSGi_JNI_MSG_RpcCall (device access) and USB_JNI_MSG_RpcCall (discs).
 */
#ifndef ZX_WIRE_USB_MNGT_H
#define ZX_WIRE_USB_MNGT_H

#include "zx_wire_common.h"

#define ZX_USB_ENDPOINT "usb_mngt"

/* Device access; register, unregister, lock and unlock answer a ZX_WIRE_RESULT_REASON_S. */
#define ZX_USB_RPC_OPEN 0x4710303Fu           /* answers the device file of a device id, or why not */
#define ZX_USB_RPC_REGISTER 0x47103041u       /* registers a plug-in's interest in a device type */
#define ZX_USB_RPC_UNREGISTER 0x47103042u     /* withdraws a plug-in's registration */
#define ZX_USB_RPC_LOCK 0x47103043u           /* locks a device for the calling plug-in */
#define ZX_USB_RPC_UNLOCK 0x47103044u         /* releases a device lock */
#define ZX_USB_RPC_UNREGISTER_ALL 0x47103076u /* drops every registration and lock; no request, no reply read */

/* Discs. */
#define ZX_USB_RPC_CHANGE_DISC_NAME 0x47103065u          /* renames a disc named by its current name */
#define ZX_USB_RPC_GET_MNT_PATH_BY_DISC_NAME 0x47103066u /* answers the mount path of a named disc */
#define ZX_USB_RPC_GET_DISC_INFO 0x47103067u             /* answers the disc list (the request is "input", no NUL) */
#define ZX_USB_RPC_CHANGE_DISC_NAME_BY_PATH 0x47103068u  /* renames the disc mounted at a path */

#define ZX_USB_DISC_INFO_REQUEST "input" /* the disc-list request: these 5 characters, no NUL */
#define ZX_USB_MAX_DISCS 32u

#pragma pack(push, 1)
/* Register and unregister: the device type (0 on unregister) and the plug-in id. */
typedef struct {
    uint32_t uiDevType;
    char acPlugId[128];
} ZX_USB_PLUGIN_REQ_S;

/* The answer to open: the device file to open in the caller's process, or why not. */
typedef struct {
    int32_t iResult;
    char acDevPath[32];
    char acFailReason[64];
} ZX_USB_OPEN_REPLY_S;

/* One disc of the disc list: its label, its file-system type ("vfat", "ext4", ...) and where it is mounted. */
typedef struct {
    char acDiscName[64];
    char acFsType[32];
    char acMntPath[128];
} ZX_USB_DISC_S;

/* The disc list. */
typedef struct {
    uint32_t uiCount;
    ZX_USB_DISC_S astDisc[ZX_USB_MAX_DISCS];
} ZX_USB_DISC_LIST_S;

/* Rename a disc named by its current name. */
typedef struct {
    char acDiscName[64];
    char acNewName[64];
} ZX_USB_DISC_RENAME_REQ_S;

/* Rename the disc mounted at a path. */
typedef struct {
    char acMntPath[64];
    char acNewName[64];
} ZX_USB_DISC_RENAME_BY_PATH_REQ_S;

/* Reply of both renames; not read. */
typedef struct {
    uint8_t aucResv[8];
} ZX_USB_DISC_RENAME_REPLY_S;

/* Mount path of a named disc: request and reply. */
typedef struct {
    char acDiscName[64];
} ZX_USB_MNT_PATH_REQ_S;

typedef struct {
    char acMntPath[128];
} ZX_USB_MNT_PATH_REPLY_S;
#pragma pack(pop)

ZX_WIRE_SIZE(ZX_USB_PLUGIN_REQ_S, 132);
ZX_WIRE_OFFSET(ZX_USB_PLUGIN_REQ_S, uiDevType, 0);
ZX_WIRE_OFFSET(ZX_USB_PLUGIN_REQ_S, acPlugId, 4);
ZX_WIRE_SIZE(ZX_USB_OPEN_REPLY_S, 100);
ZX_WIRE_OFFSET(ZX_USB_OPEN_REPLY_S, iResult, 0);
ZX_WIRE_OFFSET(ZX_USB_OPEN_REPLY_S, acDevPath, 4);
ZX_WIRE_OFFSET(ZX_USB_OPEN_REPLY_S, acFailReason, 36);
ZX_WIRE_SIZE(ZX_USB_DISC_S, 224);
ZX_WIRE_OFFSET(ZX_USB_DISC_S, acDiscName, 0);
ZX_WIRE_OFFSET(ZX_USB_DISC_S, acFsType, 64);
ZX_WIRE_OFFSET(ZX_USB_DISC_S, acMntPath, 96);
ZX_WIRE_SIZE(ZX_USB_DISC_LIST_S, 7172);
ZX_WIRE_OFFSET(ZX_USB_DISC_LIST_S, uiCount, 0);
ZX_WIRE_OFFSET(ZX_USB_DISC_LIST_S, astDisc, 4);
ZX_WIRE_SIZE(ZX_USB_DISC_RENAME_REQ_S, 128);
ZX_WIRE_OFFSET(ZX_USB_DISC_RENAME_REQ_S, acDiscName, 0);
ZX_WIRE_OFFSET(ZX_USB_DISC_RENAME_REQ_S, acNewName, 64);
ZX_WIRE_SIZE(ZX_USB_DISC_RENAME_BY_PATH_REQ_S, 128);
ZX_WIRE_OFFSET(ZX_USB_DISC_RENAME_BY_PATH_REQ_S, acMntPath, 0);
ZX_WIRE_OFFSET(ZX_USB_DISC_RENAME_BY_PATH_REQ_S, acNewName, 64);
ZX_WIRE_SIZE(ZX_USB_DISC_RENAME_REPLY_S, 8);
ZX_WIRE_OFFSET(ZX_USB_DISC_RENAME_REPLY_S, aucResv, 0);
ZX_WIRE_SIZE(ZX_USB_MNT_PATH_REQ_S, 64);
ZX_WIRE_OFFSET(ZX_USB_MNT_PATH_REQ_S, acDiscName, 0);
ZX_WIRE_SIZE(ZX_USB_MNT_PATH_REPLY_S, 128);
ZX_WIRE_OFFSET(ZX_USB_MNT_PATH_REPLY_S, acMntPath, 0);

#endif
