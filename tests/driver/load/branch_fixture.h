// Branch records of the hand-written program, as a load works on them.
#pragma once

#include "stack_verifier/verifier_fixture.h"

#include "load/branch_resolver.h"

#include <string>
#include <vector>

namespace samplefold::load::testing {

class BranchTest : public stack_test::VerifierTest {
protected:
    /// Setting of a load with these options, over the maps of the fixture.
    BranchSetting settingOf(const BranchOptions& options)
    {
        return {options, &context, &kernel, nullptr};
    }
    /// A worker that knows all that is mapped.
    template <class Worker>
    void prepare(Worker& worker)
    {
        for (stack_test::SegInstMap* const map : {&kernel, &process}) {
            map->findSegInst(0, 0);
            for (const auto& segment : map->values)
                worker.knowSegment(segment);
        }
    }

    /// A sample in user code: its frames from the sampled one on, and its records, newest first,
    /// both by places of the program.
    BranchTask task(const std::vector<std::string>& frames,
                    const std::vector<std::pair<std::string, std::string>>& records)
    {
        BranchTask made;
        made.ip = at(frames.front());
        made.tick = tsc;
        made.jitTime = jitTime;
        made.pid = pid;
        made.userSegments = &process;
        for (const std::string& frame : frames)
            made.software.push_back(frame == "..." ? skippedFrames : Frame{Space::user, at(frame)});
        for (auto entry = records.rbegin(); entry != records.rend(); ++entry)
            made.records.push_back(record(entry->first, entry->second));
        return made;
    }
    BranchTask resolved(BranchTask made, const BranchOptions& options = {})
    {
        const BranchSetting setting = settingOf(options);
        BranchResolver resolver(setting, result->database(), resultFolder);
        prepare(resolver);
        resolver.resolve(made);
        return made;
    }
    /// Addresses of a chain; "..." is where it goes on.
    std::vector<std::uint64_t> chain(const std::vector<std::string>& places)
    {
        std::vector<std::uint64_t> addresses;
        for (const std::string& place : places)
            addresses.push_back(place == "..." ? stack_test::IP_SKIPPED_FRAMES : at(place));
        return addresses;
    }
    static std::vector<std::uint64_t> addressesOf(const BranchTask& done)
    {
        std::vector<std::uint64_t> addresses;
        for (const Frame& frame : done.chain)
            addresses.push_back(frame.address);
        return addresses;
    }
};

} // namespace samplefold::load::testing
