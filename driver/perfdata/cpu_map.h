// CPU sets as records carry them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace samplefold::perfdata {

/// Number that stands for "any CPU" in the list form.
inline constexpr std::uint32_t anyCpu = UINT32_MAX;

/// Decodes a CPU set (list, mask of 32- or 64-bit words, or range) into ascending CPU numbers;
/// "any CPU" comes first, as anyCpu. Returns false, with `cpus` cleared, when it is malformed.
[[nodiscard]] bool decodeCpuMap(std::span<const std::byte> bytes, std::vector<std::uint32_t>& cpus);

} // namespace samplefold::perfdata
