#include "blocks.h"

#include "zx_host.h"
#include "zx_wire_vdata.h"

namespace zxsim {

bool read_tunnel_block(Call& call, size_t offset, std::vector<uint8_t>& payload, JsonPtr& decoded) {
    TunnelVDataRecord rec;
    if (!call.read(rec, offset)) return false;
    decoded.reset(json_object_new_object());
    json_object* block = json_object_new_object();
    json_object_object_add(block, "id", json_object_new_int64(rec.uivDataID));
    json_object_object_add(block, "originalLen", json_object_new_int64(rec.uiOriginalLen));
    json_object_object_add(block, "storedLen", json_object_new_int64(rec.uiCompressedLen));
    json_object_object_add(block, "compressed", json_object_new_boolean(rec.uiCompressedLen != rec.uiOriginalLen));
    json_object_object_add(decoded.get(), "block", block);

    std::vector<uint8_t> stored(rec.uiCompressedLen);
    uint32_t status = ZX_VDATA_ReadData(rec.uivDataID, rec.uiCompressedLen, stored.data());
    // The reader owns the block: it is freed whether or not it could be read.
    uint32_t freed = ZX_VDATA_FreeShm(rec.uivDataID);
    if (status == ZX_OK) status = freed;
    if (status == ZX_OK && rec.uiCompressedLen != rec.uiOriginalLen) {
        payload.assign(rec.uiOriginalLen, 0);
        if (zxhost::decompressed_len_within(stored) != rec.uiOriginalLen)
            status = ZX_ERR_CORRUPT;
        else
            status = zxhost::decompress_within(stored, payload.data(), rec.uiOriginalLen);
    } else {
        payload = std::move(stored);
    }
    if (status != ZX_OK) {
        call.set_decoded(std::move(decoded));
        call.fail(status);
        return false;
    }
    add_text(decoded.get(), "payload", to_hex(payload));
    return true;
}

uint32_t write_tunnel_block(std::span<const uint8_t> bytes, TunnelVDataRecord& rec) {
    rec = {};
    uint32_t len = static_cast<uint32_t>(bytes.size());
    uint32_t status = ZX_VDATA_CreShm(len, &rec.uivDataID);
    if (status != ZX_OK) return status;
    status = ZX_VDATA_UpdateData(rec.uivDataID, len, bytes.data());
    if (status != ZX_OK) {
        ZX_VDATA_FreeShm(rec.uivDataID);
        rec = {};
        return status;
    }
    rec.uiOriginalLen = len;
    rec.uiCompressedLen = len;
    return ZX_OK;
}

}  // namespace zxsim
