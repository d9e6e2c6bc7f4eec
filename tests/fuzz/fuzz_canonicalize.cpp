// libFuzzer target for canonicalize: any input, two buffer sizes (the path's length + 1, as the
// file-system native passes, and a large one); the sanitizers watch every access and the result
// of a success is checked for what canonicalisation promises.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "zx_fileservice.h"

namespace {

// After the leading part, no component of a canonical path is empty, "." or "..".
void check_canonical(const std::string& path, const char* out) {
    std::string text(out);
    size_t slash = text.find('/');
    if (slash == std::string::npos) return;  // cut by a small buffer
    std::string rest = text.substr(slash + 1);
    if (rest.empty()) return;
    size_t start = 0;
    for (;;) {
        size_t end = rest.find('/', start);
        std::string part = rest.substr(start, end == std::string::npos ? std::string::npos : end - start);
        if (part.empty() || part == "." || part == "..") {
            std::fprintf(stderr, "bad component in \"%s\" from \"%s\"\n", text.c_str(), path.c_str());
            std::abort();
        }
        if (end == std::string::npos) break;
        start = end + 1;
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::string path(reinterpret_cast<const char*>(data), size);
    path = path.c_str();  // the native gets a C text: it ends at the first NUL
    std::FILE* devnull = std::freopen("/dev/null", "w", stdout);
    (void)devnull;
    for (size_t outSize : {path.size() + 1, size_t{8192}}) {
        std::vector<char> out(outSize, '\0');
        if (canonicalize(path.c_str(), out.data(), static_cast<uint32_t>(outSize)) == 0 && outSize == 8192)
            check_canonical(path, out.data());
        if (std::memchr(out.data(), '\0', outSize) == nullptr) std::abort();  // always terminated
    }
    return 0;
}
