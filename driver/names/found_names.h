#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

namespace samplefold::names {

/// A place in code of a module that has no name yet.
struct Place {
    std::int32_t segment = -1; ///< row of dd_module_segment
    std::uint64_t rva = 0;     ///< byte of the file
    std::uint64_t address = 0; ///< in the kernel's address space; 0 for other modules
    std::uint64_t hits = 0;    ///< samples there, as far as they were counted
    bool isCaller = false;     ///< never sampled itself: it is where a call returns to
};

/// Numbers into the lists of FoundNames.
using number_t = std::uint32_t;
inline constexpr number_t none = UINT32_MAX;

/// A function that holds places.
struct Function {
    std::string name;
    std::string rawName; ///< empty when it is the same
    bool hasRange = false;
    std::uint64_t start = 0; ///< byte of the file
    std::uint64_t size = 0;

    auto operator<=>(const Function&) const = default;
};

/// A function inlined into another.
struct Inlined {
    number_t function = none;
    number_t caller = none; ///< an Inlined, or the place's own function
    number_t callFile = none;
    std::uint32_t callLine = 0;

    auto operator<=>(const Inlined&) const = default;
};

/// What a place is called.
struct PlaceName {
    number_t function = none;
    number_t file = none;
    std::uint32_t line = 0;
    number_t inlined = none; ///< the innermost
    number_t missing = none; ///< why there is no function
};

/// A list of distinct items, each with the number of its first entry.
template <class Item>
class Distinct {
public:
    number_t number(const Item& item)
    {
        const auto [entry, isNew] =
            m_numbers.try_emplace(item, static_cast<number_t>(m_items.size()));
        if (isNew) m_items.push_back(&entry->first);
        return entry->second;
    }
    std::size_t size() const { return m_items.size(); }
    const Item& operator[](std::size_t number) const { return *m_items[number]; }

private:
    std::map<Item, number_t> m_numbers;
    std::vector<const Item*> m_items; ///< the map's keys, which stay where they are
};

/// The names of places of one module, told in the order of the places. Owns all its texts.
struct FoundNames {
    Distinct<Function> functions;
    Distinct<std::string> files;
    Distinct<Inlined> inlined;
    Distinct<std::string> reasons;
    std::vector<std::pair<Place, PlaceName>> places;
};

} // namespace samplefold::names
