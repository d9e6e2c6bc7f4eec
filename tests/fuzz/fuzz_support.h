// What the fuzzers share: a private bus directory for the run, so that the arena and endpoints of
// a fuzzer never meet those of a simulator or another run, removed when the run ends.
#pragma once

#include <stdlib.h>

#include <cstdlib>
#include <filesystem>
#include <string>

namespace zxfuzz {

// Makes a directory from the template (ending in XXXXXX), sets ZX_BUS_DIR to it and removes it at
// exit. Called once, from LLVMFuzzerInitialize.
inline void use_private_bus_dir(const char* pattern) {
    static std::string dir;
    dir = pattern;
    if (!mkdtemp(dir.data())) return;
    setenv("ZX_BUS_DIR", dir.c_str(), 1);
    std::atexit([] { std::filesystem::remove_all(dir); });
}

}  // namespace zxfuzz
