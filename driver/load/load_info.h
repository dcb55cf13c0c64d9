#pragma once

#include <rowvault1/result.h>

#include <cstdint>
#include <optional>
#include <string>
#include <utility>

namespace samplefold::load {

/// The keys of the load_info view that a load sets. Keys of one load end in "of load 2" and so on
/// behind the first, so that every input of a result stays named. Throws StoreError. Loading thread
/// only.
class LoadInfo {
public:
    explicit LoadInfo(rowvault1::IResult& store) : m_store(store) {}

    /// Counts this load; before anything is set.
    void begin();
    /// How many loads the result has had, this one included.
    std::uint32_t loads() const;

    /// Sets a key of this load, unless there is nothing to tell.
    void set(const std::string& key, const std::string& value);
    /// Adds to a number that covers all loads.
    void add(const std::string& key, std::uint64_t more);
    /// Widens the span of ticks of the result; without a range the ticks number the samples.
    void widenTimes(const std::optional<std::pair<std::uint64_t, std::uint64_t>>& range);
    /// The last tick of that span; nothing where no load had times.
    std::optional<std::uint64_t> lastTick() const { return number("last_time"); }

private:
    std::optional<std::uint64_t> number(const std::string& key) const;

    rowvault1::IResult& m_store;
};

} // namespace samplefold::load
