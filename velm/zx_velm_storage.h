/*
 * Storage, file scan and media of the plug-in platform API: the attached discs through "usb_mngt"
 * (list, rename, mount path), their space measured here with statfs, and the media-file scanner of
 * "app_m" (switch, list of the files of one type, counts). Every function but ZX_JNI_GetStorage
 * returns 0 on success or the code of what failed.
 */
#ifndef ZX_VELM_STORAGE_H
#define ZX_VELM_STORAGE_H

#include <stdint.h>

#include "zx_bridge.h"
#include "zx_wire_app_m.h"
#include "zx_wire_usb_mngt.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Switches the scanner; the service's answer text lands in buf (0xF7700005 when it does not fit). */
ZX_BRIDGE_EXPORT uint32_t ZX_JNI_setFilesScanSwitch(uint32_t uiSwitch, char* buf, uint32_t size);
/* The scanner's list of the files of one type ("video", "picture", "music", sent without its NUL).
 * On success *ppcData is the list as the service wrote it (not necessarily terminated) and *puiLen
 * its length; on failure both are left as they were. The list is a block of the platform's
 * allocator (JNI_API_ReadVData): ZX_OS_MemFreeD releases it, and so does free, which the bindings
 * use (the host's tracing allocator then keeps counting it). */
ZX_BRIDGE_EXPORT uint32_t ZX_JNI_getFilesScanListByType(const char* pcType, char** ppcData, uint32_t* puiLen);
/* The disc list into the caller's 7172-byte record; *puiCount is its first word. Every function
 * of this file that sends a request answers 1 for a NULL pointer argument and sends nothing. */
ZX_BRIDGE_EXPORT uint32_t ZX_JNI_getDiscInfo(ZX_USB_DISC_LIST_S* pstList, uint32_t* puiCount);
/* Renames the disc mounted at a path, or the disc of a name. */
ZX_BRIDGE_EXPORT uint32_t ZX_JNI_changeDiscNameByPath(const char* pcMntPath, const char* pcNewName);
ZX_BRIDGE_EXPORT uint32_t ZX_JNI_changeDiscName(const char* pcDiscName, const char* pcNewName);
/* The mount path of a named disc in a 128-byte text the caller frees with ZX_OS_MemFreeD. */
ZX_BRIDGE_EXPORT uint32_t ZX_JNI_getMntPathByDiscName(const char* pcDiscName, char** ppcMntPath);
/* Total, used and free bytes of the file system holding the path (statfs; free counts every free
 * block, also those kept for the privileged). */
ZX_BRIDGE_EXPORT void ZX_JNI_GetStorage(const char* pcPath, uint64_t* pullTotal, uint64_t* pullUsed,
                                        uint64_t* pullFree);
/* The scanner's counts of pictures, videos and music files. */
ZX_BRIDGE_EXPORT uint32_t ZX_JNI_GetMediaFilesInfo(ZX_APPM_MEDIA_FILES_INFO_S* pstInfo);

#ifdef __cplusplus
}
#endif

#endif
