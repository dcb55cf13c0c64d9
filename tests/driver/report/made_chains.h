// A small result with call chains that are written by hand.
#pragma once

#include "made_result.h"

#include "report/tree_report.h"

#include <nlohmann/json.hpp>

#include <map>
#include <string>
#include <utility>
#include <vector>

namespace samplefold::report::testing {

class MadeChainsTest : public MadeResultTest {
protected:
    /// Frames from the outermost to the sampled one.
    using Chain = std::vector<std::string>;

    /// Row of dd_code_location; in no segment for an empty path.
    rowvault1::Index place(const std::string& path, std::uint64_t rva);
    /// Gives a place the name of a function, which is the module's `functionPath`, or nobody's.
    void name(const std::string& path, std::uint64_t rva, const std::string& function,
              const std::string& functionPath = {});
    /// What a place is called beside its function; rows that are not there are not known.
    struct SourcePlace {
        rowvault1::Index function;
        std::string file;
        std::int32_t line = 0;
        rowvault1::Index inlined = {};
    };
    /// Gives a place its names.
    void name(const std::string& path, std::uint64_t rva, const SourcePlace& source);
    /// A new row of dd_function in a module.
    rowvault1::Index function(const std::string& name, const std::string& path,
                              const std::string& rawName = {});
    /// A new row of dd_inlined.
    rowvault1::Index inlined(rowvault1::Index function, const std::string& callFile,
                             std::int32_t callLine, rowvault1::Index caller = {});
    /// A sample at a place, without callers.
    void sampleAt(const std::string& path, std::uint64_t rva, std::int64_t count = 1,
                  rowvault1::Index event = {})
    {
        sample(frame(rowvault1::Index(), place(path, rva)), count, event);
    }
    rowvault1::Index module(const std::string& path);

    /// A new row of dd_callsite.
    rowvault1::Index frame(rowvault1::Index caller, rowvault1::Index place);

    /// Leaf of a chain of named functions in /bin/app; "f@2" is another place of the function f.
    /// Equal beginnings have the same rows.
    rowvault1::Index chain(const Chain& frames);

    void sample(rowvault1::Index callsite, std::int64_t count = 1, rowvault1::Index event = {},
                std::uint64_t tick = 0);
    void sample(const Chain& frames, std::int64_t count = 1, rowvault1::Index event = {},
                std::uint64_t tick = 0)
    {
        sample(chain(frames), count, event, tick);
    }

    /// The report without the summary: from the first line that begins with "Event".
    std::string trees(TreeKind kind, const TreeLimits& limits = everything,
                      const TickRange& range = {});
    nlohmann::ordered_json treesJson(TreeKind kind, const TreeLimits& limits = everything,
                                     const TickRange& range = {});

    static constexpr TreeLimits everything{0, 0, 0.0};

    const rowvault1::Index cycles = addEvent("cycles");
    const rowvault1::Index thread = addThread(10, 11, "worker");

private:
    rowvault1::Index sourceFile(const std::string& path);
    rowvault1::Index segment(const std::string& path);

    std::map<std::string, rowvault1::Index> m_modules;
    std::map<std::string, rowvault1::Index> m_segments;
    std::map<std::string, rowvault1::Index> m_sourceFiles;
    std::map<std::pair<std::string, std::uint64_t>, rowvault1::Index> m_places;
    std::map<std::pair<std::string, std::string>, rowvault1::Index> m_functions;
    std::map<std::string, rowvault1::Index> m_named;
    std::map<std::pair<std::int32_t, std::int32_t>, rowvault1::Index> m_frames;
    std::map<std::int32_t, rowvault1::Index> m_samples;
};

} // namespace samplefold::report::testing
