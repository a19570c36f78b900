#include "host/check/elf_interpreter.h"

#include <elf.h>

#include <cstdint>
#include <cstring>

namespace volad_dev {
namespace {

// The structure at that offset; none where it does not lie within the bytes.
template <class Structure>
std::optional<Structure> at(std::string_view bytes, uint64_t offset) {
    if (offset > bytes.size() || bytes.size() - offset < sizeof(Structure)) {
        return std::nullopt;
    }
    Structure structure;
    std::memcpy(&structure, bytes.data() + offset, sizeof structure);
    return structure;
}

} // namespace

std::optional<std::string> elfInterpreter(std::string_view beginning) {
    const std::optional<Elf64_Ehdr> file = at<Elf64_Ehdr>(beginning, 0);
    if (!file || std::memcmp(file->e_ident, ELFMAG, SELFMAG) != 0 || file->e_ident[EI_CLASS] != ELFCLASS64) {
        return std::nullopt;
    }
    for (unsigned row = 0; row < file->e_phnum; ++row) {
        const std::optional<Elf64_Phdr> header =
            at<Elf64_Phdr>(beginning, file->e_phoff + uint64_t{row} * sizeof(Elf64_Phdr));
        if (!header) {
            return std::nullopt;
        }
        if (header->p_type == PT_INTERP && header->p_offset < beginning.size()) {
            const std::string_view text = beginning.substr(header->p_offset, header->p_filesz);
            return std::string(text.substr(0, text.find('\0')));
        }
    }
    return std::nullopt;
}

} // namespace volad_dev
