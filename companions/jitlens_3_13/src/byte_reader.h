#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <string_view>

// Numbers and texts at places of a file's bytes, in the byte order of this machine.
namespace jitlens_3_13 {

using bytes_t = std::span<const std::byte>;

/// The number at `offset`; the caller has checked that it is inside.
template <class T>
T numberAt(bytes_t bytes, std::size_t offset)
{
    T value;
    std::memcpy(&value, bytes.data() + offset, sizeof value);
    return value;
}

inline std::string_view textOf(bytes_t bytes)
{
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

/// Whether `size` bytes from `first` on end within the address space.
constexpr bool fitsAddressSpace(std::uint64_t first, std::uint64_t size)
{
    return size != 0 && size - 1 <= ~first;
}

} // namespace jitlens_3_13
