// The events of a recording while they are collected, and the way from a sample id to its event.
#pragma once

#include "perfdata/byte_reader.h"
#include "perfdata/event.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace samplefold::perfdata {

/// Reads an attribute of the size it gives itself, but of at most `room` bytes (newer fields that
/// are not known here are passed over). False when fewer than the oldest 64 bytes are there.
[[nodiscard]] bool parseAttr(const std::byte* bytes, std::size_t room, EventAttr& attr);

/// Hash from sample id to event index. Ids are added once; the first event to claim one keeps it.
class IdMap {
public:
    static constexpr std::uint32_t none = UINT32_MAX;

    void add(std::uint64_t id, std::uint32_t event);
    /// The event of `id`, or none.
    [[nodiscard]] std::uint32_t find(std::uint64_t id) const noexcept
    {
        if (m_slots.empty()) return none;
        for (std::size_t at = home(id);; at = (at + 1) & (m_slots.size() - 1)) {
            const Slot& slot = m_slots[at];
            if (slot.event == none || slot.id == id) return slot.event;
        }
    }
    [[nodiscard]] bool empty() const noexcept { return m_count == 0; }

private:
    struct Slot {
        std::uint64_t id = 0;
        std::uint32_t event = none;
    };

    [[nodiscard]] std::size_t home(std::uint64_t id) const noexcept
    {
        return static_cast<std::size_t>((id * 0x9e3779b97f4a7c15u) >> m_shift);
    }
    void grow();

    std::vector<Slot> m_slots; ///< size is a power of two, at most half full
    unsigned m_shift = 64;
    std::size_t m_count = 0;
};

/// Collects events, ids, updates and names in the order the input gives them. Not thread-safe.
class EventTable {
public:
    /// Adds the attributes section of a file; ids sections lie in `input`. Entries that cannot be
    /// read are left out, with a line in `notes`.
    void addSection(std::span<const std::byte> attrs, std::uint64_t entrySize,
                    std::span<const std::byte> input, std::vector<std::string>& notes);
    /// Adds an attribute record's body: the attribute, then ids to the end. False when it is
    /// malformed.
    bool addAttrRecord(std::span<const std::byte> body);
    /// Applies an event-update record's body. False when it is malformed or its event unknown.
    bool applyUpdate(std::span<const std::byte> body);
    /// Takes ids of known events from an id-index record's body. False when it is malformed.
    bool addIdIndex(std::span<const std::byte> body);
    /// Notes the name of an old event type (an array of number and 64 bytes of name).
    void addEventTypes(std::span<const std::byte> entries);

    void addId(std::uint32_t event, std::uint64_t id);
    /// Sets the name unless the event has one from the file already.
    void offerName(std::uint32_t event, std::string_view name, NameSource source);
    /// Gives every event without a name one: from the old event types, or generated.
    void completeNames();

    [[nodiscard]] std::vector<Event>& events() noexcept { return m_events; }
    [[nodiscard]] const std::vector<Event>& events() const noexcept { return m_events; }
    [[nodiscard]] const IdMap& ids() const noexcept { return m_ids; }
    /// Grows with every change that can alter which event a record belongs to.
    [[nodiscard]] std::uint64_t revision() const noexcept { return m_revision; }

private:
    Event& append(const EventAttr& attr);

    std::vector<Event> m_events;
    IdMap m_ids;
    std::unordered_map<std::uint64_t, std::string> m_eventTypes;
    std::uint64_t m_revision = 0;
};

} // namespace samplefold::perfdata
