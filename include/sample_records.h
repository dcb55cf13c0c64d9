#pragma once

#include "export.h"

#include <rowvault1/index.h>
#include <rowvault1/query.h>

#include <cstdint>

// A hardware sample is two records: what was sampled (an attribute, shared by all samples of that
// kind), and when and how much (an interval, which points at its attribute). All are plain values:
// a copy is a copy of the fields, and the pointers in them own nothing.
namespace samplefold_1 {

using rowvault1::Index;

class ThreadInfo;

/// One place in code. `callsite_key` says where the key of its callsite row is kept and is no part
/// of the identity; it is null until the location has been cached.
struct code_location_t {
    Index mod_seg;         ///< row of dd_module_segment; -1 outside every known segment
    std::uint64_t rva = 0; ///< address relative to the segment's module
    Index* callsite_key = nullptr;
};

/// One distinct combination of sample properties. Keys are -1 where a property is absent.
struct pmu_sample_attribute_t {
    Index event_type;
    Index cpu;
    Index cpu_state;
    Index seg_inst;
    Index mem_access;
    Index htm_info;
    Index lbr_head;
    Index thread_state;
    Index cpu_mode;
    std::uint64_t ip = 0;
    /// Where the key of the dd_sample row is kept: in the entry of the bucket that owns it, for as
    /// long as that cache lives. Null until the attribute has been cached.
    Index* sample_key = nullptr;
    code_location_t code_loc; ///< used with call stacks off
    Index callsite;           ///< used with call stacks on

    /// Fills the attribute from a row of dd_sample; the numbers are the positions of the columns in
    /// `record`. `modSeg` and `rva` are read with call stacks off, `callsite` with call stacks on.
    /// An address that is no integer reads as 0. Returns the number of the attribute's bucket,
    /// equal to what attributeBucket gives. Touches neither `sample_key` nor
    /// `code_loc.callsite_key`.
    SAMPLEFOLD_1_API std::uint64_t
    loadFromDbRecord(const rowvault1::IConstRecord* record, std::uint16_t eventType,
                     std::uint16_t cpu, std::uint16_t cpuState, std::uint16_t segInst,
                     std::uint16_t memAccess, std::uint16_t htmInfo, std::uint16_t lbrHead,
                     std::uint16_t ip, std::uint16_t callsite, std::uint16_t modSeg,
                     std::uint16_t rva, std::uint16_t cpuMode, std::uint16_t threadState,
                     bool linkCallsiteParents);
};

/// One sampled interval of one event on one thread. All zero by default.
struct pmu_data_t {
    pmu_data_t* next =
        nullptr; ///< the interval that follows in the same thread and event slot, or null
    pmu_sample_attribute_t* attr = nullptr; ///< lives in the context's attribute array
    ThreadInfo* thread = nullptr;
    std::uint64_t start_tsc = 0; ///< first tick of the interval, included
    std::uint64_t end_tsc = 0;   ///< tick of the sample that closes the interval, included
    std::uint64_t reserved_value = 0;
    std::int64_t count = 0; ///< events that the interval stands for, already scaled
    double rate = 0.0;      ///< count of the following sample per tick up to it
};

/// Strict weak order of attributes over their thirteen identifying fields, the address first.
/// Attributes that tie are one attribute; the two pointers take no part.
struct CompareSamples {
    SAMPLEFOLD_1_API bool operator()(const pmu_sample_attribute_t& a,
                                     const pmu_sample_attribute_t& b) const noexcept;
};

/// Strict weak order of code locations: by address first, by segment second.
struct CompareCodeLocations {
    bool operator()(const code_location_t& a, const code_location_t& b) const noexcept
    {
        return a.rva != b.rva ? a.rva < b.rva : a.mod_seg < b.mod_seg;
    }
};

/// The callsite row of an attribute: what `code_loc.callsite_key` points at, else the field
/// `callsite`.
inline Index effectiveCallsite(const pmu_sample_attribute_t& attr) noexcept
{
    return attr.code_loc.callsite_key != nullptr ? *attr.code_loc.callsite_key : attr.callsite;
}

/// Buckets over which attributes are spread, and the one that holds attributes without a module.
inline constexpr std::uint64_t attributeBuckets = 256;
inline constexpr std::uint64_t bucketWithoutModule = 255;

/// Number of the bucket of an attribute, 0 to 255; equal attributes share a bucket. With call
/// stacks on by the callsite key's bits (-1 gives 0), with call stacks off by the relative address,
/// or 255 when the address lies in no module. The modulus is 255, so that bucket 255 is kept for
/// the last case.
inline std::uint64_t attributeBucket(const pmu_sample_attribute_t& attr,
                                     bool linkCallsiteParents) noexcept
{
    if (linkCallsiteParents) {
        const std::int64_t key = effectiveCallsite(attr).value();
        return static_cast<std::uint64_t>(key) % bucketWithoutModule;
    }
    if (!attr.code_loc.mod_seg.exist()) return bucketWithoutModule;
    return attr.code_loc.rva % bucketWithoutModule;
}

} // namespace samplefold_1
