#include "blocks.h"

#include "zx_host.h"
#include "zx_vdata.h"
#include "zx_wire_vdata.h"

namespace zxsim {

uint32_t take_block(uint32_t id, uint32_t len, std::vector<uint8_t>& stored) {
    uint32_t status = ZX_VDATA_ERR_RANGE;
    if (len <= ZX_VDATA_MAX_BLOCK) {
        stored.assign(len, 0);
        status = ZX_VDATA_ReadData(id, len, stored.data());
    }
    uint32_t freed = ZX_VDATA_FreeShm(id);
    return status == ZX_OK ? freed : status;
}

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

    std::vector<uint8_t> stored;
    uint32_t status = take_block(rec.uivDataID, rec.uiCompressedLen, stored);
    if (status == ZX_OK && rec.uiCompressedLen != rec.uiOriginalLen) {
        // The original length is allocated only once the unit itself declares it, and only when
        // LZ4 can expand the stored bytes that far (it never gains more than 255 to 1).
        if (rec.uiOriginalLen / 255 > rec.uiCompressedLen ||
            zxhost::decompressed_len_within(stored) != rec.uiOriginalLen) {
            status = ZX_ERR_CORRUPT;
        } else {
            payload.assign(rec.uiOriginalLen, 0);
            status = zxhost::decompress_within(stored, payload.data(), rec.uiOriginalLen);
        }
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
