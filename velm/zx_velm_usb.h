/*
 * USB device access of the plug-in platform API: registration, lock and open through "usb_mngt",
 * then the serial line, select, read, write and close on the device file it named, in this
 * process. Every function writes its JSON result text into the caller's buffer.
 */
#ifndef ZX_VELM_USB_H
#define ZX_VELM_USB_H

#include <stdint.h>

#include "zx_bridge.h"
#include "zx_wire_common.h"
#include "zx_wire_usb_mngt.h"

#ifdef __cplusplus
extern "C" {
#endif

ZX_BRIDGE_EXPORT uint32_t ZX_JNI_UsbRegister(const char* pcPlugId, uint32_t uiDevType, char* buf, uint32_t size);
ZX_BRIDGE_EXPORT uint32_t ZX_JNI_UsbUnregister(const char* pcPlugId, char* buf, uint32_t size);
ZX_BRIDGE_EXPORT uint32_t ZX_JNI_UsbLock(uint32_t uiDevId, char* buf, uint32_t size);
ZX_BRIDGE_EXPORT uint32_t ZX_JNI_UsbUnLock(uint32_t uiDevId, char* buf, uint32_t size);
/* Asks "usb_mngt" for the device file and opens it; a failed open is told only in the text. */
ZX_BRIDGE_EXPORT uint32_t ZX_JNI_UsbOpen(uint32_t uiDevId, char* buf, uint32_t size);
ZX_BRIDGE_EXPORT uint32_t ZX_JNI_UsbClose(uint32_t uiHandle, char* buf, uint32_t size);
/* Always 0; *puiFlag is 1 when the handle becomes readable within 4 seconds, else 0. */
ZX_BRIDGE_EXPORT uint32_t ZX_JNI_UsbDataAvailable(uint32_t uiHandle, uint32_t* puiFlag);
/* Reads up to uiLen bytes into pucData + uiOffset, waiting iTimeOut seconds (negative: no limit). */
ZX_BRIDGE_EXPORT uint32_t ZX_JNI_UsbRead(uint32_t uiHandle, uint8_t* pucData, uint32_t uiOffset, uint32_t uiLen,
                                         int32_t iTimeOut, char* buf, uint32_t size);
ZX_BRIDGE_EXPORT uint32_t ZX_JNI_UsbWrite(uint32_t uiHandle, const uint8_t* pucData, uint32_t uiOffset, uint32_t uiLen,
                                          char* buf, uint32_t size);
ZX_BRIDGE_EXPORT uint32_t ZX_JNI_UsbSetSerial(uint32_t uiHandle, uint32_t iRate, uint32_t iParity, uint32_t iRits,
                                              uint32_t iStopBits, uint8_t iHwFlowCtl, uint8_t iSwFlowCtl, char* buf,
                                              uint32_t size);
ZX_BRIDGE_EXPORT uint32_t ZX_JNI_UsbUnregisterAll(void);

#ifdef __cplusplus
}
#endif

#endif
