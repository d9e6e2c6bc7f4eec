// The log of every request the simulated services receive, read back through the control socket.
#pragma once

#include <cstdint>
#include <deque>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "json_util.h"
#include "zx_host.h"

namespace zxsim {

class Recorder {
public:
    // Older records are dropped beyond this many, so a long run does not grow without bound.
    static constexpr size_t kCapacity = 10000;

    // Records a request as it arrived; returns its sequence number (1, 2, ... in this process).
    uint64_t add(const std::string& service, const zxhost::BusRequest& req);
    // Attaches what a command decoded from the request (a shared-block payload, ...) to its record.
    // Nothing happens when the record has been dropped or cleared meanwhile.
    void set_decoded(uint64_t seq, JsonPtr decoded);
    // Which records list() returns: of one service (nullptr: every one), of one message id, and
    // only those after a sequence number (0: all).
    struct Filter {
        const char* service = nullptr;
        std::optional<uint32_t> msgId;
        uint64_t after = 0;
    };
    // The records, oldest first, as a JSON array. With clear, the records returned are forgotten.
    JsonPtr list(const Filter& filter, bool clear);
    void clear();

private:
    struct Record {
        std::string service;
        uint64_t seq = 0;
        ZX_MSG_HEAD_S head{};
        uint32_t msgId = 0;
        uint32_t mid = 0;
        bool oneWay = false;
        uint32_t timeoutMs = 0;
        uint32_t replyCap = 0;
        uint32_t callerPid = 0;
        int64_t timeMs = 0;  // when it arrived: milliseconds since the epoch
        std::vector<uint8_t> data;
        JsonPtr decoded;
    };

    static JsonPtr to_json(const Record& r);

    std::mutex mutex_;
    std::deque<Record> records_;  // ascending seq
    uint64_t nextSeq_ = 1;
};

}  // namespace zxsim
