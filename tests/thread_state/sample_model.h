#pragma once

#include <cstdint>
#include <optional>
#include <vector>

// A slow model of what a thread's samples become: it keeps every sample for ever and works each row
// out from the whole history of its slot, where the library keeps one open sample. Ticks stay far
// below 2^62, so that signed numbers hold everything.
namespace samplefold_test {

struct model_sample_t {
    std::int64_t tick;
    std::int64_t count;
    int kind; ///< which attribute
};

struct model_row_t {
    std::int64_t start;
    std::int64_t end;
    std::int64_t count;
    double rate;
    int kind;
    std::optional<int> nextKind;
};

/// All samples of one event slot. A sample at tick 0 closes the one before and is none itself, so
/// the samples between two of those form a run of their own.
class ModelSlot {
public:
    explicit ModelSlot(std::int64_t extension) : m_extension(extension) {}

    /// Returns the number of the sample that this one closes.
    std::optional<std::size_t> add(const model_sample_t& sample)
    {
        m_samples.push_back(sample);
        const std::size_t last = m_samples.size() - 1;
        if (last == 0 || m_samples[last - 1].tick == 0) return std::nullopt;
        return last - 1;
    }

    /// The row of a closed sample, as seen when these samples have come.
    model_row_t closedRow(std::size_t n) const
    {
        const model_sample_t& one = m_samples[n];
        const model_sample_t& closing = m_samples[n + 1];
        const std::int64_t ticks = closing.tick - one.tick;
        std::int64_t start = openStart(n);
        const bool hasNoLength = start == one.tick;
        if (hasNoLength && ticks >= 0 && start - ticks >= 0) start -= ticks;
        const double rate =
            ticks > 0 ? static_cast<double>(closing.count) / static_cast<double>(ticks) : 0.0;
        return {start, one.tick, one.count, rate, one.kind, follower(n).kind};
    }

    /// The row of the sample that is still open, if there is one.
    std::optional<model_row_t> openRow() const
    {
        if (m_samples.empty() || m_samples.back().tick == 0) return std::nullopt;
        const model_sample_t& one = m_samples.back();
        return model_row_t{openStart(m_samples.size() - 1), one.tick, one.count, 0.0, one.kind, {}};
    }

private:
    /// Start of the interval that ends at sample `n`, while that is open.
    std::int64_t openStart(std::size_t n) const
    {
        const std::int64_t tick = m_samples[n].tick;
        if (n == 0 || m_samples[n - 1].tick == 0) {
            const bool extends = m_extension != 0 && m_extension <= tick;
            return extends ? tick - m_extension : tick;
        }
        const std::int64_t before = m_samples[n - 1].tick;
        if (tick > before) return before + 1;
        const std::int64_t start = closedRow(n - 1).start;
        const std::int64_t length = before - start;
        if (length < 0)
            return start; // an end before its start: as a length it is beyond every tick
        return tick >= length ? start - (before - tick) : start;
    }

    /// What stands behind a closed sample: the next real sample, or, where none has come, the last
    /// one of all.
    const model_sample_t& follower(std::size_t n) const
    {
        for (std::size_t i = n + 1; i < m_samples.size(); ++i) {
            if (m_samples[i].tick != 0) return m_samples[i];
        }
        return m_samples.back();
    }

    std::vector<model_sample_t> m_samples;
    std::int64_t m_extension;
};

} // namespace samplefold_test
