// Shared-block transfer: the writer stores a payload in a new block and sends only the block's
// record; the reader reads the block and frees it. Tunnel payloads above 2048 bytes are
// compressed, plug-in payloads always.
#include <cstdint>

#include "trace_unit.h"
#include "zx_bridge.h"

namespace {
// The tunnel API's half of this file records as l2tp_api, the plug-in platform's as its own unit.
using zxtrace::kL2tpApi, zxtrace::kVelmApi, zxtrace::operator""_ln;

using zxtrace::word;
}  // namespace

extern "C" uint32_t L2TP_API_WriteVData(TunnelVDataRecord* rec, const void* data, uint32_t len) {
    if (!rec || !data) {
        kL2tpApi.last_word(65_ln, 1);
        return 1;
    }
    rec->uiOriginalLen = len;
    rec->uiCompressedLen = len;
    const void* bytes = data;
    void* work = nullptr;
    if (len > ZX_VDATA_COMPRESS_THRESHOLD) {
        work = ZX_OS_MemMallocD(len, 76, 0, 1, kL2tpApi.file());
        if (!work) {
            kL2tpApi.last_word(79_ln, ZX_JNI_ERR_NOMEM, len, 0, 0, 0);
            return ZX_JNI_ERR_NOMEM;
        }
        uint32_t code = ZX_OS_Compress(data, len, work, &rec->uiCompressedLen);
        if (code != 0) {
            kL2tpApi.last_word(86_ln, code, word(data), len, 0, 0);
            ZX_OS_MemFreeD(work, kL2tpApi.file(), 87);
            return code;
        }
        bytes = work;
    }
    // Both calls are always made and their codes combined.
    uint32_t result = ZX_VDATA_CreShm(rec->uiCompressedLen, &rec->uivDataID);
    result |= ZX_VDATA_UpdateData(rec->uivDataID, rec->uiCompressedLen, bytes);
    if (result != 0) {
        kL2tpApi.last_word(99_ln, result, rec->uiCompressedLen, rec->uivDataID, len, 0);
        ZX_VDATA_FreeShm(rec->uivDataID);
    }
    ZX_OS_MemFreeD(work, kL2tpApi.file(), result != 0 ? 101 : 105);
    return result;
}

extern "C" uint32_t JNI_API_ReadVData(const TunnelVDataRecord* rec, void** out) {
    if (!out || !rec) {
        kVelmApi.last_word(383_ln, 1);
        return 1;
    }
    *out = nullptr;
    void* read = ZX_OS_MemMallocD(rec->uiCompressedLen, 387, 0, 1, kVelmApi.file());
    if (!read) {
        kVelmApi.last_word(390_ln, ZX_JNI_ERR_NOMEM);
        ZX_VDATA_FreeShm(rec->uivDataID);
        return ZX_JNI_ERR_NOMEM;
    }
    void* result = ZX_OS_MemMallocSet(rec->uiOriginalLen, 0, 0, 1, 396, kVelmApi.file());
    if (!result) {
        kVelmApi.last_word(399_ln, ZX_JNI_ERR_NOMEM);
        ZX_OS_MemFreeD(read, kVelmApi.file(), 400);
        ZX_VDATA_FreeShm(rec->uivDataID);
        return ZX_JNI_ERR_NOMEM;
    }
    uint32_t code = ZX_VDATA_ReadData(rec->uivDataID, rec->uiCompressedLen, read);
    if (code != 0) {
        kVelmApi.last_word(410_ln, code, rec->uivDataID, rec->uiCompressedLen, 0, 0);
        ZX_VDATA_FreeShm(rec->uivDataID);
        ZX_OS_MemFreeD(read, kVelmApi.file(), 412);
        ZX_OS_MemFreeD(result, kVelmApi.file(), 413);
        return code;
    }
    code = ZX_VDATA_FreeShm(rec->uivDataID);
    if (code != 0) {
        kVelmApi.last_word(420_ln, code);
        ZX_OS_MemFreeD(read, kVelmApi.file(), 421);
        ZX_OS_MemFreeD(result, kVelmApi.file(), 422);
        return code;
    }
    // Only blocks stored as they are come this way: the two lengths are equal.
    ZX_OS_MemCpy_S(result, rec->uiOriginalLen, read, rec->uiCompressedLen);
    ZX_OS_MemFreeD(read, kVelmApi.file(), 428);
    *out = result;
    return 0;
}

extern "C" uint32_t OSGI_JNI_ZipWriteVData(PluginVDataRecord* rec, const void* data, uint32_t len) {
    if (!rec) {
        kVelmApi.last_word(zxtrace::Line(__LINE__), 1);
        return 1;
    }
    void* work = ZX_OS_MemMallocSet(len, 0, 0, 1, 550, kVelmApi.file());
    if (!work) {
        kVelmApi.last_word(553_ln, ZX_JNI_ERR_NOMEM, len, 0, 0, 0);
        return ZX_JNI_ERR_NOMEM;
    }
    // The work buffer holds len bytes: data that does not compress below that fails here.
    rec->uiStoredLen = len;
    uint32_t code = ZX_OS_Compress(data, len, work, &rec->uiStoredLen);
    if (code != 0) {
        kVelmApi.last_word(561_ln, code);
        ZX_OS_MemFreeD(work, kVelmApi.file(), 562);
        return code;
    }
    code = ZX_VDATA_CreShm(rec->uiStoredLen, &rec->uivDataID);
    if (code != 0) {
        kVelmApi.last_word(570_ln, code);
        ZX_OS_MemFreeD(work, kVelmApi.file(), 571);
        return code;
    }
    code = ZX_VDATA_UpdateData(rec->uivDataID, rec->uiStoredLen, work);
    if (code != 0) {
        kVelmApi.last_word(579_ln, code);
        ZX_VDATA_FreeShm(rec->uivDataID);
        ZX_OS_MemFreeD(work, kVelmApi.file(), 581);
        return code;
    }
    ZX_OS_MemFreeD(work, kVelmApi.file(), 585);
    return 0;
}

extern "C" uint32_t OSGI_JNI_ReadUnzipVData(const PluginVDataRecord* rec, void* dst) {
    if (!rec || !dst) {
        kVelmApi.last_word(zxtrace::Line(__LINE__), 1);
        return 1;
    }
    void* read = ZX_OS_MemMallocSet(rec->uiStoredLen, 0, 0, 1, 612, kVelmApi.file());
    if (!read) {
        kVelmApi.last_word(615_ln, ZX_JNI_ERR_NOMEM);
        ZX_VDATA_FreeShm(rec->uivDataID);
        return ZX_JNI_ERR_NOMEM;
    }
    uint32_t code = ZX_VDATA_ReadData(rec->uivDataID, rec->uiStoredLen, read);
    if (code != 0) {
        kVelmApi.last_word(624_ln, code);
        ZX_VDATA_FreeShm(rec->uivDataID);
        ZX_OS_MemFreeD(read, kVelmApi.file(), 626);
        return code;
    }
    code = ZX_VDATA_FreeShm(rec->uivDataID);
    if (code != 0) {
        kVelmApi.last_word(634_ln, code);
        ZX_OS_MemFreeD(read, kVelmApi.file(), 635);
        return code;
    }
    code = ZX_OS_Decompress(read, dst, ZX_VDATA_PLUGIN_CAPACITY);
    ZX_OS_MemFreeD(read, kVelmApi.file(), 641);
    if (code != 0) kVelmApi.last_word(644_ln, code);
    return code;
}
