#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace GLYPH_3_30 {

/// The last of `items`, which are ordered by `startOf`, that starts at or before the address; null
/// when there is none. Steps do not depend on a comparison's outcome, which a processor could not
/// foresee.
template <class T, class StartOf>
const T* lastUpTo(const std::vector<T>& items, std::uint64_t address, StartOf startOf) noexcept
{
    if (items.empty() || address < startOf(items.front())) return nullptr;
    const T* place = items.data();
    for (std::size_t count = items.size(); count > 1;) {
        const std::size_t half = count / 2;
        place += startOf(place[half]) <= address ? half : 0;
        count -= half;
    }
    return place;
}

} // namespace GLYPH_3_30
