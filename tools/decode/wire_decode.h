// Request and reply bodies decoded by the wire catalogue into JSON, for the kit's tools: records
// field by field, texts, words, and shared-block payloads (decompressed where stored compressed)
// when the block's bytes were seen.
#pragma once

#include <json-c/json.h>

#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <string>
#include <vector>

#include "zx_wire_catalog.h"

namespace zxwire {

using Bytes = std::vector<uint8_t>;

// Shared blocks seen written, by id; the latest few hundred are kept.
class Blocks {
public:
    static constexpr size_t kKept = 256;
    void put(uint32_t id, Bytes data);
    const Bytes* get(uint32_t id) const;

private:
    std::map<uint32_t, Bytes> map_;
    std::deque<uint32_t> order_;
};

// The first `max` bytes in hex, "..." after them when there are more.
std::string hex(const uint8_t* p, size_t n, size_t max = 64);

// Text a line can show as it is: UTF-8 without control characters other than line ends and
// tabs. Anything else is shown in hex, so that every JSON line stays valid JSON.
bool printable(const uint8_t* p, size_t n);

// A request or reply body by its shape in the catalogue (rec: its record, blockRec: the record a
// block it names holds); null for an empty body, "hex:..." for one the shape does not fit. The
// caller owns the answer.
json_object* decode_body(Body body, const Record* rec, const Record* blockRec, const uint8_t* p, size_t n,
                         const Blocks& blocks);

}  // namespace zxwire
