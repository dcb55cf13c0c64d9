#pragma once

#include "unwind/frame_rules.h"

#include <elf.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

using Elf = struct Elf;

namespace samplefold::unwind {

/// What unwinding needs of an x86-64 program or library: where its parts lie, and its unwind
/// tables. They are read once, into memory of their own; the file is closed behind that, and
/// changes of it have no effect any more.
class CodeFile {
public:
    /// Null when it is no regular file, no ELF file of this machine, or has no code to be mapped.
    /// Tables that cannot be read are left out.
    static std::unique_ptr<CodeFile> open(const std::string& path);
    ~CodeFile();
    CodeFile(const CodeFile&) = delete;
    CodeFile& operator=(const CodeFile&) = delete;

    /// By how much addresses in memory are above those in the file, when byte `offset` of the file
    /// was mapped at `address`. False when that byte belongs to no part that is loaded.
    bool biasOf(std::uint64_t offset, std::uint64_t address, std::uint64_t& bias) const;

    /// First address in the file as libdwfl counts it, and the one behind the code.
    std::uint64_t low() const { return m_low; }
    std::uint64_t high() const { return m_high; }

    /// The tables in the form of an ELF file. `openImage` gives a descriptor that is the caller's
    /// to end, null when there is no memory; `image` is one that lives as long as the object.
    ::Elf* openImage() const;
    ::Elf* image() const { return m_elf; }

    /// What is kept of the tables by address.
    FrameRules& rules() const { return *m_rules; }

private:
    CodeFile() = default;
    bool read(::Elf* file);
    bool readParts(::Elf* file);

    std::vector<Elf64_Phdr> m_parts; ///< of type PT_LOAD, in the file's order
    std::uint64_t m_low = 0;
    std::uint64_t m_high = 0;
    std::vector<std::byte> m_bytes;
    ::Elf* m_elf = nullptr;
    std::unique_ptr<FrameRules> m_rules;
};

} // namespace samplefold::unwind
