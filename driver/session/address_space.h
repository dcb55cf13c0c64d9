#pragma once

#include <samplefold_1/seg_inst_map.h>

#include <algorithm>
#include <cstdint>
#include <limits>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace samplefold::session {

/// A mapping as the profile tells it, with the segment that it maps (see ModuleCatalog).
struct Mapping {
    std::uint64_t start = 0;  ///< first address
    std::uint64_t last = 0;   ///< last address, included
    std::uint64_t offset = 0; ///< byte of the file that stands at `start`
    std::uint32_t segment = 0;
    const std::string* path = nullptr; ///< of the module; outlives the address space
    bool hasImage = true; ///< false for plain memory, which may come to hold generated code
};

/// An address found.
struct Place {
    std::size_t entry = 0; ///< number in the address space, see AddressSpace::instanceRow
    std::uint32_t segment = 0;
    std::uint64_t start = 0;    ///< where the whole mapping starts
    std::uint64_t loadTime = 0; ///< tick from which it holds
    std::uint64_t rva = 0;      ///< address relative to the module: its byte in the file
    bool hasImage = true;       ///< see Mapping
    const std::string* path = nullptr;
};

/// Ticks from `from` to `until`, the latter not included.
struct TickSpan {
    std::uint64_t from = 0;
    std::uint64_t until = std::numeric_limits<std::uint64_t>::max();

    bool holds(std::uint64_t tick) const { return from <= tick && tick < until; }
    void cutTo(const TickSpan& other)
    {
        from = std::max(from, other.from);
        until = std::min(until, other.until);
    }
};

/// How many mappings may still be copied from parents to the children that they forked; shared by
/// all address spaces of a load, so that a hostile profile cannot multiply them without bound.
struct InheritanceRoom {
    std::uint64_t left = 1'000'000;
    std::uint64_t refused = 0; ///< at most so many were not copied
};

/// What one life of a process had mapped, and when. It is told in time order what happened; the
/// first `find` works that out into a segment map, so all address spaces must have been told
/// everything by then. A later mapping hides an earlier one where they overlap. Of mappings made at
/// one tick the earlier is cut back where the later one lies, since the look-up goes by load time
/// alone.
///
/// In a process with generated code, plain memory stays out of the segment map: its addresses are
/// the JIT data's to explain. It still hides what it was mapped over.
class AddressSpace {
public:
    static constexpr std::uint64_t never = std::numeric_limits<std::uint64_t>::max();

    /// The entries go to `map`, which outlives this object and is not changed by others before the
    /// first `find` or `build`.
    explicit AddressSpace(samplefold_1::SegInstMap& map) : m_map(map) {}
    AddressSpace(const AddressSpace&) = delete;
    AddressSpace& operator=(const AddressSpace&) = delete;

    /// A mapping that holds from tick `time` on.
    void map(const Mapping& mapping, std::uint64_t time);
    /// `time` is the first tick without the mappings that start at `start`, or without any.
    void unmap(std::uint64_t start, std::uint64_t time);
    void unmapAll(std::uint64_t time);
    /// Takes over what `parent` has mapped at `time`. Both arguments outlive this object.
    void inherit(AddressSpace& parent, std::uint64_t time, InheritanceRoom& room);

    /// Keeps memory without an image out of the segment map; before the first `find`.
    void leaveOutPlainMemory() { m_leaveOutPlain = true; }
    /// Works out what was told; `find` does it where it has not been done. From here on only the
    /// unload times of the entries may be changed, before the first `steadySpan`.
    void build();

    /// Cuts the entries at addresses (rising), so that each piece can end on its own; after
    /// `build`, before the first `find`. Makes at most `room` pieces more and takes them from it;
    /// false when that was not enough.
    bool cutAt(const std::vector<std::uint64_t>& addresses, std::uint64_t& room);

    /// What is mapped at `address` at tick `time`; false when nothing is. Fills `place`.
    bool find(std::uint64_t address, std::uint64_t time, Place& place);
    /// The ticks around `time` in which every answer of `find` stays the same.
    const TickSpan& steadySpan(std::uint64_t time);

    /// What is looked up; after `build`. Its ranges and times are not changed by others.
    samplefold_1::SegInstMap& segmentMap() { return m_map; }
    /// Calls `visit(entry, segment, start)` for every mapping: its place in the map, the number of
    /// its segment, where the whole mapping starts.
    template <class Visit>
    void forEachMapping(Visit&& visit)
    {
        if (m_state != State::built) build();
        for (std::size_t i = 0; i < m_map.values.size(); ++i)
            visit(m_map.values[i], m_origins[i].segment, m_origins[i].start);
    }

    /// Row of dd_segment_instance behind an entry; -1 until it is set.
    rowvault1::Index instanceRow(std::size_t entry) const
    {
        return m_map.values[entry].segInstIndex;
    }
    void setInstanceRow(std::size_t entry, rowvault1::Index row)
    {
        m_map.values[entry].segInstIndex = row;
    }

private:
    enum class Kind : std::uint8_t { map, unmap, unmapAll, inherit };
    struct Event {
        Kind kind;
        std::uint64_t time;
        Mapping mapping;
    };
    struct Origin {
        std::uint64_t start;
        std::uint32_t segment;
        bool hasImage;
        const std::string* path;
    };

    bool isHidden(std::uint64_t address, std::uint64_t time, std::uint64_t loadTime);
    void collectChanges();
    void replay();
    void takeOutPlainMemory();
    using entry_t = std::pair<const samplefold_1::SegInstInfo*, const Origin*>;
    std::vector<entry_t> entriesAt(std::uint64_t time) const;
    void apply(const Event& event);
    void applyMap(const Mapping& mapping, std::uint64_t low, std::uint64_t time);
    void applyInheritance(std::uint64_t time);
    void add(samplefold_1::SegInstInfo info, const Origin& origin);
    void cutBack(std::uint64_t first, std::uint64_t last);
    void endEntry(std::size_t entry, std::uint64_t time);
    void forgetLatest(std::size_t entry);

    std::vector<Event> m_events;
    AddressSpace* m_parent = nullptr;
    InheritanceRoom* m_room = nullptr;
    enum class State : std::uint8_t { told, underWay, built } m_state = State::told;

    samplefold_1::SegInstMap& m_map;
    std::vector<Origin> m_origins; ///< by the same number as m_map.values
    bool m_leaveOutPlain = false;
    samplefold_1::SegInstMap m_plain; ///< what stays out of m_map
    std::vector<Origin> m_plainOrigins;
    std::vector<std::uint64_t> m_changes; ///< ticks at which an answer may change, rising
    TickSpan m_steady{1, 0};              ///< the last answer of steadySpan; none yet
    std::multimap<std::uint64_t, std::size_t>
        m_active;                                  ///< what nothing has ended yet, by Origin::start
    std::uint64_t m_latestTime = 0;                ///< load time of the entries below
    std::map<std::uint64_t, std::size_t> m_latest; ///< by first address; they do not overlap
};

} // namespace samplefold::session
