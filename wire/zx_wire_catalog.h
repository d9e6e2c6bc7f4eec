// The wire catalogue as a table the tools can read: every command id with its endpoint, kind and
// the shape of its request and reply, and every record with the name, type, offset and size of
// each field. The C headers beside this one stay the source of the ids and layouts; this table
// names them through their macros and takes offsets and sizes from offsetof and sizeof, so it
// cannot drift from them.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

namespace zxwire {

struct Record;

enum class FieldType : uint8_t {
    U8,
    U16,
    U32,
    U64,
    I8,
    I16,
    I32,
    I64,
    Text,         // NUL-terminated text in a char array (a full array has no NUL)
    Bytes,        // raw bytes (reserved space, binary data)
    Mac,          // six bytes of a MAC address, most significant first
    TunnelBlock,  // a TunnelVDataRecord: a shared block, stored as is or compressed
    PluginBlock,  // a PluginVDataRecord: a shared block, always compressed
    Nested,       // a record (`nested`), or an array of `count` of them
};

// One field. For an array (`count` > 1) `size` is the whole array's; each element is size/count
// bytes. A text array (aacMac[8][20]) is Text with count 8.
struct Field {
    const char* name;
    FieldType type;
    uint32_t offset;
    uint32_t size;
    const Record* nested;  // Nested only
    uint32_t count;
};

struct Record {
    const char* name;
    uint32_t size;
    std::span<const Field> fields;
};

enum class Kind : uint8_t {
    Call,    // a synchronous call with a reply
    Notice,  // a one-way message
    Event,   // an event raised through the event centre
};

enum class Body : uint8_t {
    None,    // nothing is sent (or no reply is read)
    Word,    // one 32-bit word
    Text,    // a text (usually with its NUL)
    Json,    // a JSON text
    Record,  // the record named beside it
    Raw,     // bytes with no structure (a fixed text without NUL, ...)
};

struct Command {
    const char* name;     // the macro's name: "ZX_APPM_RPC_GET_LOID"
    uint32_t id;
    const char* service;  // the endpoint: "app_m"
    Kind kind;
    Body request;
    Body reply;
    const Record* requestRecord;  // Body::Record only
    const Record* replyRecord;
    // The record held in the shared block a request or reply names (a block carrying texts has none).
    const Record* requestBlockRecord;
    const Record* replyBlockRecord;
    const char* summary;  // the id's comment in its header
};

std::span<const Command> commands();
std::span<const Record> records();

// The command of an id at an endpoint, or null.
const Command* find(std::string_view service, uint32_t id);

// Commands of `service` (every service when empty) named by `text`: the macro's full name, the
// name after ZX_<SERVICE>_RPC_ / _NOTICE_ / ZX_EVENT_ (case ignored, '-' for '_'), else every
// command whose name holds `text` (case ignored). An exact name wins over a substring; several
// results mean the text is ambiguous.
std::vector<const Command*> match(std::string_view service, std::string_view text);

// A record by its typedef name, or null.
const Record* record(std::string_view name);

// The short name of a command: the macro's name after its ZX_<SERVICE>_RPC_ (or NOTICE_, or
// ZX_EVENT_) prefix, "GET_LOID".
std::string_view short_name(const Command& c);

const char* kind_name(Kind k);
const char* body_name(Body b);
const char* field_type_name(FieldType t);

}  // namespace zxwire
