#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

/// Writes the bytes of a jitdump one by one, from the public description of the format. It shares
/// nothing with the reader.
class DumpBuilder {
public:
    struct header_t {
        std::uint32_t magic = 0x4A695444;
        std::uint32_t version = 1;
        std::uint32_t size = 40;
        std::uint32_t machine = 62;
        std::uint32_t reserved = 0;
        std::uint32_t pid = 7;
        std::uint64_t flags = 0;
    };
    struct line_t {
        std::uint64_t address;
        std::int32_t line;
        std::string file;
    };

    DumpBuilder() : DumpBuilder(header_t{}) {}
    explicit DumpBuilder(const header_t& header)
    {
        word(header.magic).word(header.version).word(header.size).word(header.machine);
        word(header.reserved).word(header.pid).quad(12345).quad(header.flags);
    }

    /// A load of `code`; returns the place of the code in the file.
    std::size_t load(std::uint64_t time, std::uint64_t address, std::string_view name,
                     std::string_view code, std::uint64_t index = 0)
    {
        const std::size_t place = m_bytes.size() + 56 + name.size() + 1;
        prefix(0, static_cast<std::uint32_t>(56 + name.size() + 1 + code.size()), time);
        loadFields(address, code.size(), index);
        m_bytes.append(name).push_back('\0');
        m_bytes.append(code);
        return place;
    }
    std::size_t load(std::uint64_t time, std::uint64_t address, std::string_view name,
                     std::size_t size, std::uint64_t index = 0)
    {
        return load(time, address, name, std::string(size, '\x90'), index);
    }
    void move(std::uint64_t time, std::uint64_t from, std::uint64_t to, std::uint64_t size,
              std::uint64_t index = 0)
    {
        prefix(1, 64, time).word(7).word(8).quad(to).quad(from).quad(to).quad(size).quad(index);
    }
    void debugInfo(std::uint64_t time, std::uint64_t address, const std::vector<line_t>& lines)
    {
        std::size_t size = 32;
        for (const line_t& line : lines)
            size += 16 + line.file.size() + 1;
        prefix(2, static_cast<std::uint32_t>(size), time).quad(address).quad(lines.size());
        for (const line_t& line : lines) {
            quad(line.address).word(static_cast<std::uint32_t>(line.line)).word(0);
            m_bytes.append(line.file).push_back('\0');
        }
    }
    void close(std::uint64_t time) { prefix(3, 16, time); }
    void unwinding(std::uint64_t time)
    {
        prefix(4, 48, time).quad(8).quad(8).quad(8).quad(0x0102030405060708);
    }

    // Pieces, for records that are not as they should be.
    DumpBuilder& prefix(std::uint32_t id, std::uint32_t size, std::uint64_t time)
    {
        return word(id).word(size).quad(time);
    }
    DumpBuilder& loadFields(std::uint64_t address, std::uint64_t size, std::uint64_t index)
    {
        return word(7).word(8).quad(address).quad(address).quad(size).quad(index);
    }
    DumpBuilder& word(std::uint32_t value) { return number(value, 4); }
    DumpBuilder& quad(std::uint64_t value) { return number(value, 8); }
    DumpBuilder& text(std::string_view text)
    {
        m_bytes.append(text);
        return *this;
    }

    const std::string& bytes() const { return m_bytes; }
    std::size_t size() const { return m_bytes.size(); }

private:
    DumpBuilder& number(std::uint64_t value, int bytes)
    {
        for (int i = 0; i < bytes; ++i)
            m_bytes.push_back(static_cast<char>(value >> (8 * i) & 0xff));
        return *this;
    }

    std::string m_bytes;
};
