// Payloads shaped like the ones the bridge really moves: the tests and the benchmarks of the
// compression and shared blocks build them from here.
#pragma once

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <random>
#include <string>
#include <vector>

namespace zxtest {

using Bytes = std::vector<uint8_t>;

// Comma-separated IPv4 addresses from a few subnets, as in tunnel and DNS forwarding lists, cut to
// exactly len bytes.
inline Bytes address_list(size_t len, uint32_t seed = 1) {
    std::mt19937 rng(seed);
    const char* nets[] = {"192.168.1.", "10.0.", "172.16.", "100.64."};
    std::string text;
    while (text.size() < len) {
        const int net = static_cast<int>(rng() % 4);
        if (!text.empty()) text += ',';
        text += nets[net];
        if (net != 0) text += std::to_string(rng() % 256) + '.';
        text += std::to_string(1 + rng() % 254);
    }
    text.resize(len);
    return Bytes(text.begin(), text.end());
}

// The bundle state table (43216 bytes): status at 136, count at 204, then count entries of name
// (128), version (24) and state (16) from offset 208.
inline Bytes bundle_table(uint32_t count = 256) {
    Bytes t(43216, 0);
    const uint32_t status = 0;
    std::memcpy(&t[136], &status, 4);
    std::memcpy(&t[204], &count, 4);
    for (uint32_t i = 0; i < count; ++i) {
        char* e = reinterpret_cast<char*>(&t[208 + i * 168]);
        std::snprintf(e, 128, "com.example.plugin.%03u", i);
        std::snprintf(e + 128, 24, "1.0.%u", i % 10);
        std::snprintf(e + 152, 16, "%s", i % 4 ? "ACTIVE" : "RESOLVED");
    }
    return t;
}

// A JSON bundle list of about 20 KB.
inline Bytes bundle_json() {
    std::string text = "[";
    for (uint32_t i = 0; text.size() < 20000; ++i) {
        char entry[256];
        std::snprintf(entry, sizeof entry,
                      "%s{\"bundleId\":%u,\"symbolicName\":\"com.example.plugin.%03u\",\"version\":\"1.0.%u\","
                      "\"state\":\"%s\",\"location\":\"file:/mnt/jffs2/plugins/com.example.plugin.%03u.jar\"}",
                      i ? "," : "", i + 1, i, i % 10, i % 4 ? "ACTIVE" : "RESOLVED", i);
        text += entry;
    }
    text += "]";
    return Bytes(text.begin(), text.end());
}

}  // namespace zxtest
