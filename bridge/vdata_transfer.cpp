// Shared-block transfer: the writer stores a payload in a new block and sends only the block's
// record; the reader reads the block and frees it. Tunnel payloads above 2048 bytes are
// compressed, plug-in payloads always.
#include <cstdint>

#include "scoped.h"
#include "zx_bridge.h"

namespace {
constexpr const char* kL2tpApi = "l2tp_api";
constexpr const char* kVelmApi = "../velm/zx_velm_jni_api";

uint32_t word(const void* p) { return static_cast<uint32_t>(reinterpret_cast<uintptr_t>(p)); }
}  // namespace

extern "C" uint32_t L2TP_API_WriteVData(TunnelVDataRecord* rec, const void* data, uint32_t len) {
    if (!rec || !data) {
        ZX_PROC_DBG_LastWord_1(kL2tpApi, 65, 1);
        return 1;
    }
    rec->uiOriginalLen = len;
    rec->uiCompressedLen = len;
    const void* bytes = data;
    void* work = nullptr;
    if (len > ZX_VDATA_COMPRESS_THRESHOLD) {
        work = ZX_OS_MemMallocD(len, 76, 0, 1, kL2tpApi);
        if (!work) {
            ZX_PROC_DBG_LastWord(kL2tpApi, 79, ZX_JNI_ERR_NOMEM, len, 0, 0, 0);
            return ZX_JNI_ERR_NOMEM;
        }
        uint32_t code = ZX_OS_Compress(data, len, work, &rec->uiCompressedLen);
        if (code != 0) {
            ZX_PROC_DBG_LastWord(kL2tpApi, 86, code, word(data), len, 0, 0);
            ZX_OS_MemFreeD(work, kL2tpApi, 87);
            return code;
        }
        bytes = work;
    }
    // Both calls are always made and their codes combined.
    uint32_t result = ZX_VDATA_CreShm(rec->uiCompressedLen, &rec->uivDataID);
    result |= ZX_VDATA_UpdateData(rec->uivDataID, rec->uiCompressedLen, bytes);
    if (result != 0) {
        ZX_PROC_DBG_LastWord(kL2tpApi, 99, result, rec->uiCompressedLen, rec->uivDataID, len, 0);
        ZX_VDATA_FreeShm(rec->uivDataID);
    }
    ZX_OS_MemFreeD(work, kL2tpApi, result != 0 ? 101 : 105);
    return result;
}

extern "C" uint32_t JNI_API_ReadVData(const TunnelVDataRecord* rec, void** out) {
    if (!out || !rec) {
        ZX_PROC_DBG_LastWord_1(kVelmApi, 383, 1);
        return 1;
    }
    *out = nullptr;
    void* read = ZX_OS_MemMallocD(rec->uiCompressedLen, 387, 0, 1, kVelmApi);
    if (!read) {
        ZX_PROC_DBG_LastWord_1(kVelmApi, 390, ZX_JNI_ERR_NOMEM);
        ZX_VDATA_FreeShm(rec->uivDataID);
        return ZX_JNI_ERR_NOMEM;
    }
    void* result = ZX_OS_MemMallocSet(rec->uiOriginalLen, 0, 0, 1, 396, kVelmApi);
    if (!result) {
        ZX_PROC_DBG_LastWord_1(kVelmApi, 399, ZX_JNI_ERR_NOMEM);
        ZX_OS_MemFreeD(read, kVelmApi, 400);
        ZX_VDATA_FreeShm(rec->uivDataID);
        return ZX_JNI_ERR_NOMEM;
    }
    uint32_t code = ZX_VDATA_ReadData(rec->uivDataID, rec->uiCompressedLen, read);
    if (code != 0) {
        ZX_PROC_DBG_LastWord(kVelmApi, 410, code, rec->uivDataID, rec->uiCompressedLen, 0, 0);
        ZX_VDATA_FreeShm(rec->uivDataID);
        ZX_OS_MemFreeD(read, kVelmApi, 412);
        ZX_OS_MemFreeD(result, kVelmApi, 413);
        return code;
    }
    code = ZX_VDATA_FreeShm(rec->uivDataID);
    if (code != 0) {
        ZX_PROC_DBG_LastWord_1(kVelmApi, 420, code);
        ZX_OS_MemFreeD(read, kVelmApi, 421);
        ZX_OS_MemFreeD(result, kVelmApi, 422);
        return code;
    }
    // Only blocks stored as they are come this way: the two lengths are equal.
    ZX_OS_MemCpy_S(result, rec->uiOriginalLen, read, rec->uiCompressedLen);
    ZX_OS_MemFreeD(read, kVelmApi, 428);
    *out = result;
    return 0;
}

extern "C" uint32_t OSGI_JNI_ZipWriteVData(PluginVDataRecord* rec, const void* data, uint32_t len) {
    if (!rec) {
        ZX_PROC_DBG_LastWord_1(kVelmApi, __LINE__, 1);
        return 1;
    }
    void* work = ZX_OS_MemMallocSet(len, 0, 0, 1, 550, kVelmApi);
    if (!work) {
        ZX_PROC_DBG_LastWord(kVelmApi, 553, ZX_JNI_ERR_NOMEM, len, 0, 0, 0);
        return ZX_JNI_ERR_NOMEM;
    }
    // The work buffer holds len bytes: data that does not compress below that fails here.
    rec->uiStoredLen = len;
    uint32_t code = ZX_OS_Compress(data, len, work, &rec->uiStoredLen);
    if (code != 0) {
        ZX_PROC_DBG_LastWord_1(kVelmApi, 561, code);
        ZX_OS_MemFreeD(work, kVelmApi, 562);
        return code;
    }
    code = ZX_VDATA_CreShm(rec->uiStoredLen, &rec->uivDataID);
    if (code != 0) {
        ZX_PROC_DBG_LastWord_1(kVelmApi, 570, code);
        ZX_OS_MemFreeD(work, kVelmApi, 571);
        return code;
    }
    code = ZX_VDATA_UpdateData(rec->uivDataID, rec->uiStoredLen, work);
    if (code != 0) {
        ZX_PROC_DBG_LastWord_1(kVelmApi, 579, code);
        ZX_VDATA_FreeShm(rec->uivDataID);
        ZX_OS_MemFreeD(work, kVelmApi, 581);
        return code;
    }
    ZX_OS_MemFreeD(work, kVelmApi, 585);
    return 0;
}

extern "C" uint32_t OSGI_JNI_ReadUnzipVData(const PluginVDataRecord* rec, void* dst) {
    if (!rec || !dst) {
        ZX_PROC_DBG_LastWord_1(kVelmApi, __LINE__, 1);
        return 1;
    }
    void* read = ZX_OS_MemMallocSet(rec->uiStoredLen, 0, 0, 1, 612, kVelmApi);
    if (!read) {
        ZX_PROC_DBG_LastWord_1(kVelmApi, 615, ZX_JNI_ERR_NOMEM);
        ZX_VDATA_FreeShm(rec->uivDataID);
        return ZX_JNI_ERR_NOMEM;
    }
    uint32_t code = ZX_VDATA_ReadData(rec->uivDataID, rec->uiStoredLen, read);
    if (code != 0) {
        ZX_PROC_DBG_LastWord_1(kVelmApi, 624, code);
        ZX_VDATA_FreeShm(rec->uivDataID);
        ZX_OS_MemFreeD(read, kVelmApi, 626);
        return code;
    }
    code = ZX_VDATA_FreeShm(rec->uivDataID);
    if (code != 0) {
        ZX_PROC_DBG_LastWord_1(kVelmApi, 634, code);
        ZX_OS_MemFreeD(read, kVelmApi, 635);
        return code;
    }
    code = ZX_OS_Decompress(read, dst, ZX_VDATA_PLUGIN_CAPACITY);
    ZX_OS_MemFreeD(read, kVelmApi, 641);
    if (code != 0) ZX_PROC_DBG_LastWord_1(kVelmApi, 644, code);
    return code;
}
