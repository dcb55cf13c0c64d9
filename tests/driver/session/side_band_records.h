// Side-band records of a small recording, one by one.
#pragma once

#include "driver/perfdata/perf_file_builder.h"
#include "perfdata/event.h"

#include <cstdint>
#include <initializer_list>
#include <string_view>

namespace samplefold::session::testing {

/// Base of fixtures that build recordings. The event has addresses, tasks and times; what a record
/// is told with goes to the file in that order.
class SideBandRecords {
protected:
    using Bytes = perfdata::testing::Bytes;

    static constexpr std::uint16_t execBit = 1U << 13;     ///< of COMM
    static constexpr std::uint16_t synthesised = 1U << 13; ///< of FORK
    static constexpr std::uint16_t buildIdBit = 1U << 14;  ///< of MMAP2
    static constexpr std::uint32_t noTask = 0xffffffff;    ///< pid of kernel mappings

    SideBandRecords() { setTimes(true); }

    /// With or without times in all records.
    void setTimes(bool withTimes)
    {
        m_withTimes = withTimes;
        m_event.sampleType = perfdata::sampleBit::Ip | perfdata::sampleBit::Tid;
        if (withTimes) m_event.sampleType |= perfdata::sampleBit::Time;
        m_event.flags = perfdata::attrBit::SampleIdAll;
    }

    void mmap(std::uint64_t time, std::uint32_t pid, std::uint64_t start, std::uint64_t length,
              std::string_view path, std::uint64_t offset = 0)
    {
        Bytes body;
        body.u32(pid).u32(pid).u64(start).u64(length).u64(offset).paddedText(path);
        add(1, body, time, 0);
    }
    void comm(std::uint64_t time, std::uint32_t pid, std::uint32_t tid, std::string_view name,
              std::uint16_t misc = 0)
    {
        Bytes body;
        body.u32(pid).u32(tid).paddedText(name);
        add(3, body, time, misc);
    }
    void fork(std::uint64_t time, std::uint32_t pid, std::uint32_t tid, std::uint32_t parent,
              std::uint16_t misc = 0)
    {
        task(7, time, {pid, parent, tid, parent}, misc);
    }
    void exit(std::uint64_t time, std::uint32_t pid, std::uint32_t tid)
    {
        task(4, time, {pid, pid, tid, tid}, 0);
    }
    void ksymbol(std::uint64_t time, std::uint64_t address, std::uint32_t length,
                 std::string_view name, bool unregister = false)
    {
        Bytes body;
        body.u64(address).u32(length).u16(1).u16(unregister ? 1 : 0).paddedText(name);
        add(17, body, time, 0);
    }
    void sample(std::uint64_t time)
    {
        Bytes body;
        body.u64(0x1000).u32(1).u32(1);
        if (m_withTimes) body.u64(time);
        m_file.add(9, body);
    }
    void add(std::uint32_t type, Bytes body, std::uint64_t time, std::uint16_t misc)
    {
        body.u32(1).u32(1);
        if (m_withTimes) body.u64(time);
        m_file.add(type, body, misc);
    }

    perfdata::testing::PerfFileBuilder& file() { return m_file; }
    perfdata::testing::AttrSpec& event() { return m_event; }

private:
    void task(std::uint32_t type, std::uint64_t time, std::initializer_list<std::uint32_t> words,
              std::uint16_t misc)
    {
        Bytes body;
        for (const std::uint32_t word : words)
            body.u32(word);
        body.u64(time);
        add(type, body, time, misc);
    }

    bool m_withTimes = true;
    perfdata::testing::AttrSpec m_event;
    perfdata::testing::PerfFileBuilder m_file;
};

} // namespace samplefold::session::testing
