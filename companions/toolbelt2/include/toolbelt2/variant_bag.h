#pragma once

#include <toolbelt2/export.h>
#include <toolbelt2/status.h>
#include <toolbelt2/variant.h>

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace toolbelt2 {

/// A list of values and of further bags, each under a key that may come again. It owns what it
/// holds. One object belongs to one thread.
class TOOLBELT2_API variant_bag_t {
public:
    variant_bag_t();
    ~variant_bag_t();
    variant_bag_t(variant_bag_t&&) noexcept;
    variant_bag_t& operator=(variant_bag_t&&) noexcept;

    /// Adds a value behind what is there.
    void put(std::string_view key, const variant_t& value);
    /// Adds an empty bag behind what is there and returns it; it lives as long as this one.
    variant_bag_t& put_bag(std::string_view key);
    /// The first value under a key, null when there is none. Lives until the bag is changed.
    const variant_t* get(std::string_view key) const noexcept;

    bool empty() const noexcept { return m_entries.empty(); }
    void clear() noexcept { m_entries.clear(); }

    /// Walks the bags under one key in the order in which they were added. Valid until the bag is
    /// changed.
    class TOOLBELT2_API bag_iterator_t {
    public:
        bool atEnd() const noexcept;
        const variant_bag_t& current() const noexcept;
        void next() noexcept;

    private:
        friend class variant_bag_t;
        bag_iterator_t(const variant_bag_t& bag, std::string_view key);
        void skipOthers() noexcept;

        const variant_bag_t* m_bag;
        std::string m_key;
        std::size_t m_at = 0;
    };
    bag_iterator_t begin_by_name(std::string_view key) const { return {*this, key}; }

private:
    struct entry_t {
        std::string key;
        variant_t value;
        std::unique_ptr<variant_bag_t> bag; ///< null for a value
    };
    friend struct variant_bag_json_t;

    std::vector<entry_t> m_entries;
};

/// Writes a bag under the name of its root, as JSON, in place of what was there: either the whole
/// new file or the old one is there afterwards. success, or cannotWrite.
TOOLBELT2_API status_t save_variant_bag2(const variant_bag_t& bag, const std::string& path,
                                         const char* rootName);

/// Reads what save_variant_bag2 wrote under the same root name. With `merge` false the bag is
/// emptied first, with true the entries come behind those that it has. success, fileNotFound, or
/// cannotRead for a file that is no bag (the bag is then left empty, or as it was). Takes memory in
/// proportion to the file, and no file above 1 GiB.
TOOLBELT2_API status_t load_variant_bag2(variant_bag_t& bag, const std::string& path,
                                         const char* rootName, bool merge);

} // namespace toolbelt2
