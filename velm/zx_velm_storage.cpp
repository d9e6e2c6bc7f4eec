// Storage, file scan and media. The discs belong to "usb_mngt", the media-file scanner to "app_m";
// the space of a disc is measured here with statfs on its mount path. Every record of this unit
// names the source "../velm/zx_velm_jni_api".
#include "zx_velm_storage.h"

#include <sys/vfs.h>

#include <cstring>

#include "trace_unit.h"
#include "zx_velm_jni_api.h"

namespace {

using zxtrace::kVelmApi;  // every record of this file
using zxtrace::operator""_ln;
using zxtrace::Line;

// The scanner answers its switch with a text in this many bytes.
constexpr uint32_t kSwitchReplyBytes = 128;
// Where the mount-path text is allocated (the allocator is told this line).
constexpr uint32_t kMntPathAllocLine = 2134;

// Both renames: the request zeroed, the two texts each into its 64-byte half. The copies are
// given the whole source length: a text of 64 characters or more is cut to 63 by the copy.
template <size_t N>
void fill_rename(char (&firstField)[N], char (&newField)[N], const char* first, const char* newName) {
    ZX_OS_StrNCpy_S(firstField, N, first, static_cast<uint32_t>(std::strlen(first)));
    ZX_OS_StrNCpy_S(newField, N, newName, static_cast<uint32_t>(std::strlen(newName)));
}

// The answer of a rename is not read.
uint32_t send_rename(uint32_t msgId, const void* req, uint32_t reqLen, Line failLine) {
    ZX_USB_DISC_RENAME_REPLY_S reply;
    ZX_OS_MemSet_S(&reply, sizeof reply, 0, sizeof reply);
    uint32_t code = USB_JNI_MSG_RpcCall(msgId, req, reqLen, &reply, sizeof reply);
    if (code != 0) kVelmApi.last_word(failLine, code);
    return code;
}

}  // namespace

// ---------------------------------------------------------------------------------------------
// Media-file scanner
// ---------------------------------------------------------------------------------------------

extern "C" uint32_t ZX_JNI_setFilesScanSwitch(uint32_t uiSwitch, char* buf, uint32_t size) {
    if (!buf) return 1;
    char reply[kSwitchReplyBytes + 1];  // one byte more: a reply filling all 128 still ends
    ZX_OS_MemSet_S(reply, sizeof reply, 0, sizeof reply);
    uint32_t code =
        APPM_JNI_MSG_RpcCall(ZX_APPM_RPC_SET_FILES_SCAN_SWITCH, &uiSwitch, sizeof uiSwitch, reply, kSwitchReplyBytes);
    if (code != 0) {
        kVelmApi.last_word(1936_ln, code);
        return code;
    }
    uint32_t length = static_cast<uint32_t>(std::strlen(reply));
    if (length + 1 > size) {
        kVelmApi.last_word(1940_ln, ZX_JNI_ERR_BUF_SMALL, size, length, 0, 0);
        return ZX_JNI_ERR_BUF_SMALL;
    }
    ZX_OS_StrNCpy_S(buf, size, reply, size - 1);
    return 0;
}

extern "C" uint32_t ZX_JNI_getFilesScanListByType(const char* pcType, char** ppcData, uint32_t* puiLen) {
    if (!pcType || !ppcData || !puiLen) return 1;
    TunnelVDataRecord rec;
    ZX_OS_MemSet_S(&rec, sizeof rec, 0, sizeof rec);
    // The type goes as its characters alone, without the NUL.
    uint32_t code = APPM_JNI_MSG_RpcCall(ZX_APPM_RPC_GET_FILES_SCAN_LIST, pcType,
                                         static_cast<uint32_t>(std::strlen(pcType)), &rec, sizeof rec);
    if (code != 0) {
        kVelmApi.last_word(1977_ln, code);
        return code;
    }
    void* data = nullptr;
    code = JNI_API_ReadVData(&rec, &data);
    if (code != 0) {
        kVelmApi.last_word(1981_ln, code);
        return code;
    }
    *ppcData = static_cast<char*>(data);
    *puiLen = rec.uiOriginalLen;
    return 0;
}

extern "C" uint32_t ZX_JNI_GetMediaFilesInfo(ZX_APPM_MEDIA_FILES_INFO_S* pstInfo) {
    if (!pstInfo) return 1;
    uint32_t request = 0;
    uint32_t code =
        APPM_JNI_MSG_RpcCall(ZX_APPM_RPC_GET_MEDIA_FILES_INFO, &request, sizeof request, pstInfo, sizeof *pstInfo);
    if (code != 0) kVelmApi.last_word(2708_ln, code);
    return code;
}

// ---------------------------------------------------------------------------------------------
// Discs
// ---------------------------------------------------------------------------------------------

extern "C" uint32_t ZX_JNI_getDiscInfo(ZX_USB_DISC_LIST_S* pstList, uint32_t* puiCount) {
    if (!pstList || !puiCount) return 1;
    constexpr char kRequest[] = ZX_USB_DISC_INFO_REQUEST;
    uint32_t code =
        USB_JNI_MSG_RpcCall(ZX_USB_RPC_GET_DISC_INFO, kRequest, sizeof kRequest - 1, pstList, sizeof *pstList);
    if (code != 0) {
        kVelmApi.last_word(2023_ln, code);
        return code;
    }
    *puiCount = pstList->uiCount;
    return 0;
}

extern "C" uint32_t ZX_JNI_changeDiscNameByPath(const char* pcMntPath, const char* pcNewName) {
    if (!pcMntPath || !pcNewName) return 1;
    ZX_USB_DISC_RENAME_BY_PATH_REQ_S req;
    ZX_OS_MemSet_S(&req, sizeof req, 0, sizeof req);
    fill_rename(req.acMntPath, req.acNewName, pcMntPath, pcNewName);
    return send_rename(ZX_USB_RPC_CHANGE_DISC_NAME_BY_PATH, &req, sizeof req, 2060_ln);
}

extern "C" uint32_t ZX_JNI_changeDiscName(const char* pcDiscName, const char* pcNewName) {
    if (!pcDiscName || !pcNewName) return 1;
    ZX_USB_DISC_RENAME_REQ_S req;
    ZX_OS_MemSet_S(&req, sizeof req, 0, sizeof req);
    fill_rename(req.acDiscName, req.acNewName, pcDiscName, pcNewName);
    return send_rename(ZX_USB_RPC_CHANGE_DISC_NAME, &req, sizeof req, 2096_ln);
}

extern "C" uint32_t ZX_JNI_getMntPathByDiscName(const char* pcDiscName, char** ppcMntPath) {
    if (!pcDiscName || !ppcMntPath) return 1;
    ZX_USB_MNT_PATH_REQ_S req;
    ZX_OS_MemSet_S(&req, sizeof req, 0, sizeof req);
    ZX_OS_StrNCpy_S(req.acDiscName, sizeof req.acDiscName, pcDiscName, sizeof req.acDiscName - 1);
    ZX_USB_MNT_PATH_REPLY_S reply;
    ZX_OS_MemSet_S(&reply, sizeof reply, 0, sizeof reply);
    uint32_t code = USB_JNI_MSG_RpcCall(ZX_USB_RPC_GET_MNT_PATH_BY_DISC_NAME, &req, sizeof req, &reply, sizeof reply);
    if (code != 0) {
        kVelmApi.last_word(2132_ln, code);
        return code;
    }
    auto* text =
        static_cast<char*>(ZX_OS_MemMallocSet(sizeof reply.acMntPath, 0, 0, 1, kMntPathAllocLine, kVelmApi.file()));
    if (!text) {
        kVelmApi.last_word(2136_ln, 1);
        return 1;
    }
    // At most the 128 bytes of the reply; a path filling them all is cut to keep its end.
    ZX_OS_StrNCpy_S(text, sizeof reply.acMntPath, reply.acMntPath,
                    static_cast<uint32_t>(strnlen(reply.acMntPath, sizeof reply.acMntPath)));
    *ppcMntPath = text;
    return 0;
}

extern "C" void ZX_JNI_GetStorage(const char* pcPath, uint64_t* pullTotal, uint64_t* pullUsed, uint64_t* pullFree) {
    if (!pcPath || !pullTotal || !pullUsed || !pullFree) return;
    struct statfs st;
    std::memset(&st, 0, sizeof st);
    (void)statfs(pcPath, &st);  // a path that cannot be measured gives figures of the empty record
    // The block size is read as a signed 32-bit number; every free block counts, also those kept
    // for the privileged.
    const uint64_t blockSize = static_cast<uint64_t>(static_cast<int64_t>(static_cast<int32_t>(st.f_bsize)));
    const uint64_t total = static_cast<uint64_t>(st.f_blocks) * blockSize;
    const uint64_t free = static_cast<uint64_t>(st.f_bfree) * blockSize;
    *pullTotal = total;
    *pullFree = free;
    *pullUsed = total - free;
}
