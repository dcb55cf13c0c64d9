#pragma once

#include <cstddef>
#include <functional>

namespace samplefold_1 {

/// Hash and equality of the keys of the library's concurrent hash maps.
template <class Key>
struct HashCompare {
    static std::size_t hash(const Key& key) { return std::hash<Key>{}(key); }
    static bool equal(const Key& a, const Key& b) { return a == b; }
};

} // namespace samplefold_1
