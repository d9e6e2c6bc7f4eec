// Shared blocks as the simulated services read and write them: the tunnel API's blocks (stored as
// they are or compressed) and the payloads of NUL-terminated texts they carry.
#pragma once

#include <cstdint>
#include <cstring>
#include <span>
#include <string>
#include <vector>

#include "json_util.h"
#include "service.h"
#include "zx_wire_vdata.h"

namespace zxsim {

// Reads `len` bytes of block `id` into stored and frees the block (the reader owns it, whether or
// not it could be read). The length is the sender's word: one no block can have is refused
// (ZX_VDATA_ERR_RANGE) before anything is allocated for it.
uint32_t take_block(uint32_t id, uint32_t len, std::vector<uint8_t>& stored);

// Reads the tunnel-API block named by the TunnelVDataRecord at `offset` of the request, frees it,
// and expands it when it was stored compressed. decoded receives the record and the payload in
// hex. On failure the call has been answered and false is returned.
bool read_tunnel_block(Call& call, size_t offset, std::vector<uint8_t>& payload, JsonPtr& decoded);

// Stores the bytes as they are (never compressed) in a new tunnel-API block and fills rec
// (uiOriginalLen == uiCompressedLen). The reader frees the block; on failure none is left and the
// status is returned.
uint32_t write_tunnel_block(std::span<const uint8_t> bytes, TunnelVDataRecord& rec);

// Reads NUL-terminated texts one after the other from a payload.
class PayloadReader {
public:
    explicit PayloadReader(const std::vector<uint8_t>& bytes) : bytes_(bytes) {}
    std::string text() {
        size_t start = pos_;
        while (pos_ < bytes_.size() && bytes_[pos_] != 0) ++pos_;
        std::string t(bytes_.begin() + static_cast<long>(start), bytes_.begin() + static_cast<long>(pos_));
        if (pos_ < bytes_.size()) ++pos_;  // the NUL
        return t;
    }
    bool word(uint32_t& out) {
        if (bytes_.size() - pos_ < sizeof out) return false;
        std::memcpy(&out, bytes_.data() + pos_, sizeof out);
        pos_ += sizeof out;
        return true;
    }
    bool at_end() const { return pos_ >= bytes_.size(); }
    std::span<const uint8_t> rest() const { return {bytes_.data() + pos_, bytes_.size() - pos_}; }

private:
    const std::vector<uint8_t>& bytes_;
    size_t pos_ = 0;
};

}  // namespace zxsim
