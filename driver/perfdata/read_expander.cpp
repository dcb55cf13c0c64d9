#include "perfdata/recording.h"

#include <unordered_map>

namespace samplefold::perfdata {

struct ReadExpander::State {
    const Recording* recording = nullptr;
    std::unordered_map<std::uint64_t, std::uint64_t> lastValues; ///< by id
    std::vector<Member> members;
    std::uint64_t unknownIds = 0;

    void add(const CounterValue& counter);
};

/// Lists the counter when it grew. Counters that went back start a new life: modulo 2^64, as perf
/// has it.
void ReadExpander::State::add(const CounterValue& counter)
{
    const Event* event = recording->eventById(counter.id);
    if (event == nullptr) {
        ++unknownIds;
        return;
    }
    std::uint64_t& last = lastValues[counter.id];
    const std::uint64_t growth = counter.value - last;
    last = counter.value;
    if (growth != 0) members.push_back({event, counter.id, growth});
}

ReadExpander::ReadExpander(const Recording& recording) : m_state(std::make_unique<State>())
{
    m_state->recording = &recording;
}

ReadExpander::~ReadExpander() = default;
ReadExpander::ReadExpander(ReadExpander&&) noexcept = default;
ReadExpander& ReadExpander::operator=(ReadExpander&&) noexcept = default;

std::span<const ReadExpander::Member> ReadExpander::expand(const Sample& sample)
{
    m_state->members.clear();
    if ((sample.has & sampleBit::Read) == 0 || !sample.read.hasIds())
        m_state->members.push_back({sample.event, sample.id, sample.period});
    else
        for (std::size_t index = 0; index < sample.read.size(); ++index)
            m_state->add(sample.read[index]);
    return m_state->members;
}

std::uint64_t ReadExpander::unknownIds() const noexcept
{
    return m_state->unknownIds;
}

} // namespace samplefold::perfdata
