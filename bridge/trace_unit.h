// The trace identity of the library's units. Every trace and last word names its unit's source
// and a line; the field service reads the pair as one place in the code, so a (unit, line) pair
// is never recorded by two places. Each unit is declared here once, with its default level:
//
//   kL2tpApi.trace(290_ln, "\n setupVPN->port:%d\r\n", port);     a line the field service knows
//   kBaseService.trace(zxtrace::Line(__LINE__), "...");             the line of the call
//   return kVelmApi.fail(1094_ln, code);                            record a last word, answer it
//
// A line is a zxtrace::Line: written as a literal with the suffix _ln, or made from __LINE__. The
// uniqueness test (tests/bridge/test_trace_lines.cpp) finds every line a unit records by those
// two spellings; nothing outside this header calls ZX_PROC_DBG_* directly.
#pragma once

#include <cstdint>

#include "zx_bridge.h"

namespace zxtrace {

struct Line {
    explicit constexpr Line(uint32_t line) : value(line) {}
    uint32_t value;
};

constexpr Line operator""_ln(unsigned long long line) { return Line(static_cast<uint32_t>(line)); }

class Unit {
public:
    constexpr Unit(const char* file, uint32_t level) : file_(file), level_(level) {}

    constexpr const char* file() const { return file_; }
    constexpr uint32_t level() const { return level_; }

    // A trace at the unit's level.
    template <class... Args>
    void trace(Line line, const char* format, Args... args) const {
        ZX_PROC_DBG_TraceS(level_, file_, line.value, 0, format, args...);
    }
    // A trace at another level (DNS forwarding, traffic monitoring, log-file failures, ...).
    template <class... Args>
    void trace_at(uint32_t level, Line line, const char* format, Args... args) const {
        ZX_PROC_DBG_TraceS(level, file_, line.value, 0, format, args...);
    }
    void last_word(Line line, uint32_t code) const { ZX_PROC_DBG_LastWord_1(file_, line.value, code); }
    void last_word(Line line, uint32_t code, uint32_t a, uint32_t b, uint32_t c, uint32_t d) const {
        ZX_PROC_DBG_LastWord(file_, line.value, code, a, b, c, d);
    }
    // Records code as the last word and answers it.
    uint32_t fail(Line line, uint32_t code) const {
        last_word(line, code);
        return code;
    }
    uint32_t fail(Line line, uint32_t code, uint32_t a, uint32_t b, uint32_t c, uint32_t d) const {
        last_word(line, code, a, b, c, d);
        return code;
    }

private:
    const char* file_;
    uint32_t level_;
};

// A line that Java wrote whole (osgiPrintF): the text goes to the platform as the format itself,
// with no arguments, at level 0, with no source and line 0, flagged as finished text.
inline void finished_text(const char* text) {
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-security"
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
    ZX_PROC_DBG_TraceS(0, nullptr, 0, ZX_DBG_FLAG_FINISHED_TEXT, text);
#pragma GCC diagnostic pop
}

// A pointer as the 32-bit word a last word carries (its low half where pointers are wider).
inline uint32_t word(const void* p) { return static_cast<uint32_t>(reinterpret_cast<uintptr_t>(p)); }

// The units and their default levels.
inline constexpr Unit kL2tpApi{"l2tp_api", 216};                 // tunnel and device-information API
inline constexpr Unit kL2tpJni{"l2tp_jni", 216};                 // entity service
inline constexpr Unit kVelmApi{"../velm/zx_velm_jni_api", 249};  // plug-in platform API
inline constexpr Unit kZelApi{"../zel/zx_zel_jni_api", 250};     // WLAN, LED and LAN-port API (zel/)
inline constexpr Unit kTernApi{"zx_tern_jni_api", 249};          // broadband API (broadband/)
inline constexpr Unit kBaseService{"baseservice_jni", 249};      // BaseService and bundle bindings

}  // namespace zxtrace
