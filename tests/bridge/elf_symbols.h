// Symbols of a loaded shared library, read from its file: the dynamic symbol table (what the
// library exports) and the full symbol table (to reach a function the library keeps to itself).
#pragma once

#include <dlfcn.h>
#include <elf.h>

#include <cstdint>
#include <cstring>
#include <fstream>
#include <iterator>
#include <optional>
#include <string>
#include <vector>

namespace zxtest {

struct ElfSymbol {
    std::string name;
    unsigned type;        // STT_FUNC, STT_OBJECT, ...
    unsigned bind;        // STB_GLOBAL, STB_WEAK, STB_LOCAL
    unsigned visibility;  // STV_DEFAULT, STV_HIDDEN, ...
    bool defined;         // not SHN_UNDEF
    uint64_t value;
    uint64_t size;
};

// Every symbol of the section of type sectionType (SHT_DYNSYM or SHT_SYMTAB) of a little-endian
// ELF file of the class Ehdr/Shdr/Sym belong to (32 or 64 bits); empty when the file cannot be
// read or has no such section.
template <class Ehdr, class Shdr, class Sym>
std::vector<ElfSymbol> elf_symbols_of_class(const std::vector<char>& file, uint32_t sectionType) {
    auto fits = [&](uint64_t offset, uint64_t size) { return offset <= file.size() && size <= file.size() - offset; };
    Ehdr eh{};
    if (!fits(0, sizeof eh)) return {};
    std::memcpy(&eh, file.data(), sizeof eh);
    auto section = [&](uint32_t i) {
        Shdr sh{};
        if (i < eh.e_shnum && fits(eh.e_shoff + uint64_t{i} * sizeof sh, sizeof sh))
            std::memcpy(&sh, file.data() + eh.e_shoff + uint64_t{i} * sizeof sh, sizeof sh);
        return sh;
    };
    std::vector<ElfSymbol> out;
    for (uint32_t i = 0; i < eh.e_shnum; ++i) {
        Shdr symtab = section(i);
        if (symtab.sh_type != sectionType || !fits(symtab.sh_offset, symtab.sh_size)) continue;
        Shdr strtab = section(symtab.sh_link);
        if (!fits(strtab.sh_offset, strtab.sh_size)) return {};
        for (uint64_t at = 0; at + sizeof(Sym) <= symtab.sh_size; at += sizeof(Sym)) {
            Sym s{};
            std::memcpy(&s, file.data() + symtab.sh_offset + at, sizeof s);
            if (s.st_name >= strtab.sh_size) continue;
            const char* name = file.data() + strtab.sh_offset + s.st_name;
            // ELF32_ST_* and ELF64_ST_* take the same bits.
            out.push_back({std::string(name, strnlen(name, strtab.sh_size - s.st_name)), ELF64_ST_TYPE(s.st_info),
                           ELF64_ST_BIND(s.st_info), ELF64_ST_VISIBILITY(s.st_other), s.st_shndx != SHN_UNDEF,
                           s.st_value, s.st_size});
        }
    }
    return out;
}

// Every symbol of the section of type sectionType (SHT_DYNSYM or SHT_SYMTAB) of a 32- or 64-bit
// little-endian ELF file; empty when the file cannot be read or has no such section.
inline std::vector<ElfSymbol> elf_symbols(const std::string& path, uint32_t sectionType) {
    std::ifstream in(path, std::ios::binary);
    std::vector<char> file((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    if (file.size() < EI_NIDENT || std::memcmp(file.data(), ELFMAG, SELFMAG) != 0) return {};
    switch (file[EI_CLASS]) {
    case ELFCLASS64: return elf_symbols_of_class<Elf64_Ehdr, Elf64_Shdr, Elf64_Sym>(file, sectionType);
    case ELFCLASS32: return elf_symbols_of_class<Elf32_Ehdr, Elf32_Shdr, Elf32_Sym>(file, sectionType);
    default: return {};
    }
}

// The file and load address of the shared object that holds addr.
struct LoadedObject {
    std::string path;
    uintptr_t base = 0;
};

inline std::optional<LoadedObject> loaded_object_of(const void* addr) {
    Dl_info info{};
    if (!dladdr(addr, &info) || !info.dli_fname) return std::nullopt;
    return LoadedObject{info.dli_fname, reinterpret_cast<uintptr_t>(info.dli_fbase)};
}

// The address of a function the object holding `anchor` defines but does not export, found
// through the object's full symbol table; nullptr when it is not there.
inline void* hidden_function(const void* anchor, const std::string& name) {
    std::optional<LoadedObject> object = loaded_object_of(anchor);
    if (!object) return nullptr;
    for (const ElfSymbol& s : elf_symbols(object->path, SHT_SYMTAB))
        if (s.name == name && s.type == STT_FUNC && s.defined) return reinterpret_cast<void*>(object->base + s.value);
    return nullptr;
}

}  // namespace zxtest
