#include "build_ids.h"

#include <elfutils/libdwelf.h>
#include <fcntl.h>
#include <gelf.h>
#include <unistd.h>

namespace steptrace {

std::vector<std::uint8_t> buildIdOf(const std::string& path)
{
    elf_version(EV_CURRENT);
    const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (file < 0) return {};
    Elf* const elf = elf_begin(file, ELF_C_READ, nullptr);
    const void* bytes = nullptr;
    const ssize_t size = elf ? dwelf_elf_gnu_build_id(elf, &bytes) : 0;
    std::vector<std::uint8_t> id;
    if (size > 0) {
        const auto* const first = static_cast<const std::uint8_t*>(bytes);
        id.assign(first, first + size);
    }
    elf_end(elf);
    close(file);
    return id;
}

} // namespace steptrace
