#pragma once

#include "report/timeline.h"

#include <map>
#include <string>

namespace samplefold::report {

/// The lines of a timeline's charts. All threads have one scale, so that they can be compared.
class TimelineText {
public:
    /// `timeline` outlives the object. A chart has a column per bin, or as many as fit into
    /// `width` letters, each for the same number of bins or one more.
    TimelineText(const Timeline& timeline, std::size_t width);

    /// Bins in a column, on average.
    double binsPerColumn() const;
    /// What a column of full height stands for, spread over a column of average length.
    double fullBar() const { return m_full; }

    /// A character per column: a bar as high as its rate, a blank for none.
    std::string bars(const ThreadTimeline& thread) const;
    /// A character per column: the class that held for the longest part of it, a blank for none.
    std::string classes(const ThreadTimeline& thread) const;
    /// What the characters of the classes stand for; empty where no thread has any.
    std::string legend() const;

private:
    std::size_t firstBin(std::size_t column) const;
    double meanIn(const std::vector<long double>& amounts, std::size_t column) const;
    char symbolOf(const ThreadTimeline& thread, std::size_t column) const;

    const Timeline& m_timeline;
    std::size_t m_columns;
    double m_full = 0;
    std::map<std::string, char, std::less<>> m_symbols; ///< of the classes
};

} // namespace samplefold::report
