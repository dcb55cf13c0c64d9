#pragma once

#include <rowvault1/index.h>
#include <toolbelt2/object.h>
#include <toolbelt2/sptr.h>

#include <cstdint>
#include <string>
#include <vector>

// Bands: intervals on the timeline of an owner (a thread), each with a count and an attribute row.
namespace rowvault1 {

/// Which timeline a band goes to.
struct band_timeline_key_t {
    Index owner;
    std::string attributeTable;
};

struct aggregated_data_t {
    std::uint64_t reserved = 0;
    std::uint64_t count = 0;
    Index attribute;
};

/// An interval, both ends included, in ticks, with any number of attribute counts. A stored row
/// each.
struct ROWVAULT1_API aggregated_band_obj_t {
    std::uint64_t start = 0;
    std::uint64_t end = 0;
    std::vector<aggregated_data_t> data;
};

/// An interval, both ends included, in ticks, with one attribute.
struct ROWVAULT1_API single_band_obj_t {
    std::uint64_t start = 0;
    std::uint64_t end = 0;
    std::uint64_t count = 0;
    Index attribute;
};

/// What the store tells of a band that it has taken.
class ROWVAULT1_API IMetaData : public tb2::object_interface_t {
public:
    /// Key of the band's (last) row.
    virtual Index rowKey() const = 0;
};

/// Stores bands of kind `Band`. One thread at a time.
template <class Band>
class ROWVAULT1_API IGenericBandTable : public tb2::object_interface_t {
public:
    /// Stores a band. `custom` has an entry per custom band column by its position (null variants
    /// leave a column empty), or is null for none; entries beyond the custom columns must be null
    /// variants. True on success, with `meta` set; false when the store has failed.
    virtual bool add(const band_timeline_key_t& key, const Band& band, tb2::sptr_t<IMetaData>& meta,
                     const std::vector<tb2::variant_t>* custom) = 0;
    /// Position of a custom band column by name, InvalidColIdx when the table has none of that
    /// name.
    virtual std::uint16_t customColumn(const char* name) const = 0;
};

} // namespace rowvault1
