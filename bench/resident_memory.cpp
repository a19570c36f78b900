#include "bench/resident_memory.h"

#include <elf.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <sstream>

#include "base/unique_fd.h"
#include "bench/comparison.h"

namespace em::bench {

std::vector<Mapping> mappings() {
    std::vector<Mapping> all;
    std::ifstream file("/proc/self/smaps");
    for (std::string line; std::getline(file, line);) {
        Mapping mapping{};
        int fileAt = 0;
        // NOLINTNEXTLINE(cert-err34-c): the kernel's own numbers
        if (std::sscanf(line.c_str(), "%lx-%lx %*s %*s %*s %*s %n", &mapping.begin, &mapping.end, &fileAt) ==
            2) {
            mapping.file = line.substr(static_cast<size_t>(fileAt));
            all.push_back(std::move(mapping));
        } else if (line.starts_with("Rss:")) {
            std::istringstream(line.substr(4)) >> all.back().residentKib;
        }
    }
    require(!all.empty(), "no mappings");
    return all;
}

std::vector<uint64_t> residentPages(const Mapping& mapping) {
    constexpr uint64_t kPresent = uint64_t{1} << 63;
    const auto pageSize = static_cast<uint64_t>(::sysconf(_SC_PAGESIZE));
    std::vector<uint64_t> entries((mapping.end - mapping.begin) / pageSize);
    const UniqueFd file(::open("/proc/self/pagemap", O_RDONLY | O_CLOEXEC));
    const size_t bytes = entries.size() * sizeof(uint64_t);
    require(::pread(file.get(), entries.data(), bytes,
                    static_cast<off_t>(mapping.begin / pageSize * sizeof(uint64_t))) ==
                static_cast<ssize_t>(bytes),
            "the pages cannot be told");
    std::vector<uint64_t> pages;
    for (size_t i = 0; i < entries.size(); ++i) {
        if ((entries[i] & kPresent) != 0) {
            pages.push_back(mapping.begin + i * pageSize);
        }
    }
    return pages;
}

std::vector<Section> sectionsOf(const std::string& elfFile) {
    std::ifstream file(elfFile, std::ios::binary);
    std::ostringstream content;
    content << file.rdbuf();
    const std::string bytes = std::move(content).str();
    require(bytes.size() > sizeof(Elf64_Ehdr), "no ELF file");
    const auto* const head = reinterpret_cast<const Elf64_Ehdr*>(bytes.data());
    const auto* const table = reinterpret_cast<const Elf64_Shdr*>(bytes.data() + head->e_shoff);
    const char* const names = bytes.data() + table[head->e_shstrndx].sh_offset;
    std::vector<Section> sections;
    for (size_t i = 0; i < head->e_shnum; ++i) {
        if ((table[i].sh_flags & SHF_ALLOC) != 0) {
            sections.push_back(
                {names + table[i].sh_name, table[i].sh_addr, table[i].sh_addr + table[i].sh_size});
        }
    }
    return sections;
}

} // namespace em::bench
