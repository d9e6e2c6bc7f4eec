// Request and reply bodies decoded by the wire catalogue into JSON, for the kit's tools (the bus
// monitor and simctl).
#include "wire_decode.h"

#include <json-c/json.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>

#include "zx_host.h"
#include "zx_platform.h"
#include "zx_wire.h"

namespace zxwire {

using zxwire::Body;

void Blocks::put(uint32_t id, Bytes data) {
    if (!map_.count(id)) order_.push_back(id);
    map_[id] = std::move(data);
    while (order_.size() > kKept) {
        map_.erase(order_.front());
        order_.pop_front();
    }
}

const Bytes* Blocks::get(uint32_t id) const {
    auto it = map_.find(id);
    return it == map_.end() ? nullptr : &it->second;
}


std::string hex(const uint8_t* p, size_t n, size_t max) {
    std::string out;
    char b[3];
    for (size_t i = 0; i < std::min(n, max); ++i) {
        std::snprintf(b, sizeof b, "%02x", p[i]);
        out += b;
    }
    if (n > max) out += "...";
    return out;
}

// Well-formed UTF-8 (no overlong forms, surrogates or code points past U+10FFFF).
static bool utf8_valid(const uint8_t* p, size_t n) {
    for (size_t i = 0; i < n;) {
        uint8_t c = p[i];
        size_t len = c < 0x80 ? 1 : (c & 0xE0) == 0xC0 ? 2 : (c & 0xF0) == 0xE0 ? 3 : (c & 0xF8) == 0xF0 ? 4 : 0;
        if (len == 0 || i + len > n) return false;
        uint32_t cp = len == 1 ? c : c & (0x7F >> len);
        for (size_t k = 1; k < len; ++k) {
            if ((p[i + k] & 0xC0) != 0x80) return false;
            cp = (cp << 6) | (p[i + k] & 0x3F);
        }
        static constexpr uint32_t kMin[] = {0, 0, 0x80, 0x800, 0x10000};
        if (cp < kMin[len] || cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF)) return false;
        i += len;
    }
    return true;
}

// Text a line can show as it is: UTF-8 without control characters other than line ends and
// tabs. Anything else is shown in hex, so that every --json line stays valid JSON.
bool printable(const uint8_t* p, size_t n) {
    for (size_t i = 0; i < n; ++i)
        if (p[i] < 0x20 && p[i] != '\n' && p[i] != '\r' && p[i] != '\t') return false;
    return utf8_valid(p, n);
}

// A text field: up to its first NUL, never past its end.
static std::string text_of(const uint8_t* p, size_t n) {
    size_t len = strnlen(reinterpret_cast<const char*>(p), n);
    return std::string(reinterpret_cast<const char*>(p), len);
}

static json_object* text_value(const uint8_t* p, size_t n) {
    std::string t = text_of(p, n);
    if (printable(reinterpret_cast<const uint8_t*>(t.data()), t.size())) return json_object_new_string(t.c_str());
    return json_object_new_string(("hex:" + hex(p, n)).c_str());
}

static bool all_zero(const uint8_t* p, size_t n) {
    for (size_t i = 0; i < n; ++i)
        if (p[i]) return false;
    return true;
}

template <typename T>
static T load(const uint8_t* p) {
    T v;
    std::memcpy(&v, p, sizeof v);
    return v;
}

static json_object* decode_record(const Record& rec, const uint8_t* p, size_t n, const Record* blockRec,
                                  const Blocks& blocks);

// The payload of a block: its record when the command names one (a text after the record is
// shown too), else its texts: one JSON text as JSON, NUL-separated texts as a list.
static json_object* decode_payload(const Bytes& payload, const zxwire::Record* rec, const Blocks& blocks) {
    if (rec && payload.size() >= rec->size) {
        json_object* out = decode_record(*rec, payload.data(), payload.size(), nullptr, blocks);
        if (payload.size() > rec->size) {
            const uint8_t* rest = payload.data() + rec->size;
            size_t restLen = payload.size() - rec->size;
            json_object_object_add(out, "trailing", text_value(rest, restLen));
        }
        return out;
    }
    std::vector<std::string> texts;
    size_t at = 0;
    while (at < payload.size()) {
        size_t len = strnlen(reinterpret_cast<const char*>(payload.data() + at), payload.size() - at);
        const uint8_t* t = payload.data() + at;
        texts.push_back(printable(t, len) ? std::string(reinterpret_cast<const char*>(t), len) : "hex:" + hex(t, len));
        at += len + 1;
    }
    if (texts.size() == 1) {
        // A text that is not printable is in hex already and is not parsed.
        if (json_object* parsed = json_tokener_parse(texts[0].c_str())) return parsed;
        return json_object_new_string(texts[0].c_str());
    }
    json_object* list = json_object_new_array();
    for (const std::string& t : texts) json_object_array_add(list, json_object_new_string(t.c_str()));
    return list;
}

// The block a block record names: its id and lengths, and its payload when the monitor saw it
// written (decompressed where it is stored compressed).
static json_object* decode_block(bool tunnel, const uint8_t* p, const zxwire::Record* payloadRecord, const Blocks& blocks) {
    json_object* out = json_object_new_object();
    uint32_t id = load<uint32_t>(p);
    uint32_t original = tunnel ? load<uint32_t>(p + 4) : ZX_VDATA_PLUGIN_CAPACITY;
    uint32_t stored = tunnel ? load<uint32_t>(p + 8) : load<uint32_t>(p + 4);
    json_object_object_add(out, "block", json_object_new_int64(id));
    if (tunnel) json_object_object_add(out, "originalLen", json_object_new_int64(original));
    json_object_object_add(out, "storedLen", json_object_new_int64(stored));
    const Bytes* data = blocks.get(id);
    if (!data) {
        json_object_object_add(out, "payload", json_object_new_string("(not seen)"));
        return out;
    }
    Bytes payload;
    if (tunnel && original == stored) {
        payload.assign(data->begin(), data->begin() + std::min<size_t>(data->size(), stored));
    } else {
        payload.resize(std::max<uint32_t>(original, 1));
        uint32_t st = ZX_OS_Decompress(data->data(), payload.data(), static_cast<uint32_t>(payload.size()));
        if (st != ZX_OK) {
            json_object_object_add(out, "payload",
                                   json_object_new_string(("undecodable " + zxhost::status_name(st)).c_str()));
            return out;
        }
        payload.resize(ZX_OS_DecompressedLen(data->data()));
    }
    json_object_object_add(out, "payload", decode_payload(payload, payloadRecord, blocks));
    return out;
}

// blockRec: the record held in a block a field names (from the command).
static json_object* decode_value(const zxwire::Field& f, const uint8_t* p, size_t elem, const zxwire::Record* blockRec,
                          const Blocks& blocks) {
    switch (f.type) {
        case FieldType::U8: return json_object_new_int64(load<uint8_t>(p));
        case FieldType::U16: return json_object_new_int64(load<uint16_t>(p));
        case FieldType::U32: return json_object_new_int64(load<uint32_t>(p));
        case FieldType::U64: return json_object_new_uint64(load<uint64_t>(p));
        case FieldType::I8: return json_object_new_int64(load<int8_t>(p));
        case FieldType::I16: return json_object_new_int64(load<int16_t>(p));
        case FieldType::I32: return json_object_new_int64(load<int32_t>(p));
        case FieldType::I64: return json_object_new_int64(load<int64_t>(p));
        case FieldType::Text: return text_value(p, elem);
        case FieldType::Bytes: return json_object_new_string(hex(p, elem).c_str());
        case FieldType::Mac: {
            char b[18];
            std::snprintf(b, sizeof b, "%02x:%02x:%02x:%02x:%02x:%02x", p[0], p[1], p[2], p[3], p[4], p[5]);
            return json_object_new_string(b);
        }
        case FieldType::TunnelBlock: return decode_block(true, p, blockRec, blocks);
        case FieldType::PluginBlock: return decode_block(false, p, blockRec, blocks);
        case FieldType::Nested: return decode_record(*f.nested, p, elem, blockRec, blocks);
    }
    return nullptr;
}

// A record field by field. Reserved bytes that are all zero and empty array elements are left out.
static json_object* decode_record(const zxwire::Record& rec, const uint8_t* p, size_t n, const zxwire::Record* blockRec,
                           const Blocks& blocks) {
    json_object* out = json_object_new_object();
    for (const zxwire::Field& f : rec.fields) {
        if (f.offset + f.size > n) break;
        const uint8_t* at = p + f.offset;
        if (f.type == FieldType::Bytes && all_zero(at, f.size)) continue;
        size_t elem = f.size / f.count;
        if (f.count == 1) {
            json_object_object_add(out, f.name, decode_value(f, at, elem, blockRec, blocks));
            continue;
        }
        json_object* list = json_object_new_array();
        size_t used = 0;  // up to the last element that is not all zero
        for (size_t i = 0; i < f.count; ++i)
            if (!all_zero(at + i * elem, elem)) used = i + 1;
        for (size_t i = 0; i < used; ++i)
            json_object_array_add(list, decode_value(f, at + i * elem, elem, blockRec, blocks));
        json_object_object_add(out, f.name, list);
    }
    return out;
}

static bool is_block_record(const zxwire::Record* r, bool& tunnel) {
    if (!r) return false;
    tunnel = std::strcmp(r->name, "TunnelVDataRecord") == 0;
    return tunnel || std::strcmp(r->name, "PluginVDataRecord") == 0;
}

// A request or reply body by its shape in the catalogue; null for an empty body.
json_object* decode_body(Body body, const Record* rec, const Record* blockRec, const uint8_t* p, size_t n,
                         const Blocks& blocks) {
    if (n == 0) return nullptr;
    switch (body) {
        case Body::Word:
            if (n == 4) return json_object_new_int64(load<uint32_t>(p));
            break;
        case Body::Text: return text_value(p, n);
        case Body::Json: {
            std::string t = text_of(p, n);
            if (!printable(reinterpret_cast<const uint8_t*>(t.data()), t.size())) break;
            if (json_object* parsed = json_tokener_parse(t.c_str())) return parsed;
            return json_object_new_string(t.c_str());
        }
        case Body::Record: {
            bool tunnel = false;
            if (is_block_record(rec, tunnel) && n >= rec->size) return decode_block(tunnel, p, blockRec, blocks);
            if (rec && n >= rec->size) return decode_record(*rec, p, n, blockRec, blocks);
            break;
        }
        case Body::Raw:
            if (printable(p, n)) return json_object_new_string(std::string(reinterpret_cast<const char*>(p), n).c_str());
            break;
        case Body::None: break;
    }
    return json_object_new_string(("hex:" + hex(p, n)).c_str());
}

}  // namespace zxwire
