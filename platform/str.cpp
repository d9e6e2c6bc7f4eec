// Bounded memory and string functions: none writes past the size it is given, every text result
// is terminated, and a cut is reported (see zx_os.h for each function's result).
#include <cctype>
#include <cerrno>
#include <climits>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "internal.h"

namespace {

// Length of text, looking at no more than limit bytes.
size_t bounded_len(const char* text, size_t limit) {
    const void* nul = std::memchr(text, '\0', limit);
    return nul ? static_cast<size_t>(static_cast<const char*>(nul) - text) : limit;
}

// Parses an optionally signed decimal number surrounded by blanks.
bool parse_decimal(const char* text, bool allowMinus, long long min, long long max, long long& out, bool& overflow) {
    overflow = false;
    const char* p = text;
    while (std::isspace(static_cast<unsigned char>(*p))) ++p;
    if (!allowMinus && *p == '-') return false;
    if (!std::isdigit(static_cast<unsigned char>(*p)) &&
        !((*p == '-' || *p == '+') && std::isdigit(static_cast<unsigned char>(p[1]))))
        return false;
    errno = 0;
    char* end = nullptr;
    long long v = std::strtoll(p, &end, 10);
    if (errno == ERANGE || v < min || v > max) overflow = true;
    while (std::isspace(static_cast<unsigned char>(*end))) ++end;
    if (*end != '\0') return false;
    out = v;
    return true;
}

}  // namespace

ZX_EXPORT uint32_t ZX_OS_MemSet_S(void* dst, uint32_t dstSize, int32_t c, uint32_t count) {
    if (!dst) return ZX_ERR_PARAM;
    uint32_t n = count < dstSize ? count : dstSize;
    std::memset(dst, c, n);
    if (count > dstSize) {
        errno = ERANGE;
        return ZX_ERR_CUT;
    }
    return ZX_OK;
}

ZX_EXPORT uint32_t ZX_OS_MemCpy_S(void* dst, uint32_t dstSize, const void* src, uint32_t count) {
    if (!dst || (!src && count > 0)) return ZX_ERR_PARAM;
    uint32_t n = count < dstSize ? count : dstSize;
    if (n > 0) std::memmove(dst, src, n);
    if (count > dstSize) {
        errno = ERANGE;
        return ZX_ERR_CUT;
    }
    return ZX_OK;
}

ZX_EXPORT uint32_t ZX_OS_StrNCpy_S(char* dst, uint32_t dstSize, const char* src, uint32_t count) {
    if (!dst || dstSize == 0) return ZX_ERR_PARAM;
    if (!src) {
        dst[0] = '\0';
        return ZX_ERR_PARAM;
    }
    size_t want = bounded_len(src, count);  // characters the caller asked for
    size_t room = dstSize - 1;
    size_t n = want < room ? want : room;
    std::memmove(dst, src, n);
    dst[n] = '\0';
    if (want > room) {
        errno = ERANGE;
        return ZX_ERR_CUT;
    }
    return ZX_OK;
}

ZX_EXPORT uint32_t ZX_OS_StrNCat_S(char* dst, uint32_t dstSize, const char* src, uint32_t count) {
    if (!dst || !src || dstSize == 0) return ZX_ERR_PARAM;
    size_t used = bounded_len(dst, dstSize);
    if (used == dstSize) {
        dst[dstSize - 1] = '\0';
        return ZX_ERR_PARAM;
    }
    size_t want = bounded_len(src, count);
    size_t room = dstSize - 1 - used;
    size_t n = want < room ? want : room;
    std::memmove(dst + used, src, n);
    dst[used + n] = '\0';
    if (want > room) {
        errno = ERANGE;
        return ZX_ERR_CUT;
    }
    return ZX_OK;
}

ZX_EXPORT int32_t ZX_OS_Snprintf_S(char* dst, uint32_t dstSize, uint32_t count, const char* fmt, ...) {
    if (!dst || !fmt || dstSize == 0) return -1;
    size_t limit = count < dstSize - 1 ? count : dstSize - 1;  // characters we may store
    va_list ap;
    va_start(ap, fmt);
    int full = std::vsnprintf(dst, limit + 1, fmt, ap);
    va_end(ap);
    if (full < 0) {
        dst[0] = '\0';
        return -1;
    }
    if (static_cast<size_t>(full) > limit) {
        errno = ERANGE;
        return static_cast<int32_t>(limit);
    }
    return full;
}

ZX_EXPORT int32_t ZX_OS_Sscanf_S(const char* text, const char* fmt, ...) {
    if (!text || !fmt) return -1;
    va_list ap;
    va_start(ap, fmt);
    int n = std::vsscanf(text, fmt, ap);
    va_end(ap);
    return n;
}

ZX_EXPORT int32_t ZX_OS_StrCmp(const char* a, const char* b) {
    if (!a || !b) return (a ? 1 : 0) - (b ? 1 : 0);
    return std::strcmp(a, b);
}

ZX_EXPORT uint32_t ZX_OS_StrToUInt32(const char* text, uint32_t* out) {
    if (!text || !out) return ZX_ERR_PARAM;
    long long v = 0;
    bool overflow = false;
    if (!parse_decimal(text, false, 0, 0xFFFFFFFFll, v, overflow)) return ZX_ERR_PARAM;
    if (overflow) return ZX_ERR_CUT;
    *out = static_cast<uint32_t>(v);
    return ZX_OK;
}

ZX_EXPORT uint32_t ZX_OS_StrToInt32(const char* text, int32_t* out) {
    if (!text || !out) return ZX_ERR_PARAM;
    long long v = 0;
    bool overflow = false;
    if (!parse_decimal(text, true, INT32_MIN, INT32_MAX, v, overflow)) return ZX_ERR_PARAM;
    if (overflow) return ZX_ERR_CUT;
    *out = static_cast<int32_t>(v);
    return ZX_OK;
}

ZX_EXPORT int32_t ZX_OS_Printf(const char* fmt, ...) {
    if (!fmt) return -1;
    va_list ap;
    va_start(ap, fmt);
    int n = std::vprintf(fmt, ap);
    va_end(ap);
    std::fflush(stdout);
    return n;
}

ZX_EXPORT int32_t ZX_OS_GetLastErr(void) { return errno; }
