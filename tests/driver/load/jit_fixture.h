// Questions about generated code, and the frames in it.
#pragma once

#include "load_fixture.h"

namespace samplefold::load::testing {

class JitCodeTest : public LoadTest {
protected:
    /// "function+offset" of generated code at an address, "-" where there is none.
    std::string at(std::uint64_t address, std::uint64_t tick, std::uint32_t pid = jitPid)
    {
        const JitCode::Answer answer = ask(address, tick, pid);
        if (answer.failed) return "failed";
        if (!answer.found) return "-";
        return std::string(answer.function) + "+" + std::to_string(address - answer.region.first);
    }
    JitCode::Answer ask(std::uint64_t address, std::uint64_t tick, std::uint32_t pid = jitPid)
    {
        return run().jit.find(run().processes.at(static_cast<std::int32_t>(pid), tick), address,
                              tick);
    }
    using LoadTest::ask;
    bool hasCode(std::uint32_t pid)
    {
        return run().processes.newest(static_cast<std::int32_t>(pid)).hasJitCode;
    }
    /// Chain of a sample without callers.
    std::string frame(std::uint64_t address, std::uint64_t tick, std::uint32_t pid = jitPid)
    {
        return chainOf(pid, {tick, address, {}});
    }
    /// Every answer holds in all of its span.
    void expectSteady(std::uint64_t address, std::uint64_t from, std::uint64_t until)
    {
        for (std::uint64_t tick = from; tick < until; ++tick) {
            const session::TickSpan span = ask(address, tick).steady;
            const std::string answer = at(address, tick);
            for (std::uint64_t other = from; other < until; ++other) {
                if (!span.holds(other)) continue;
                ASSERT_EQ(at(address, other), answer) << tick << " tells of " << other;
            }
        }
    }
    /// A conversion of time stamps, as recorders write it.
    void timeConversion(std::uint64_t shift, std::uint64_t mult, std::uint64_t zero)
    {
        Bytes body;
        file().add(79, body.u64(shift).u64(mult).u64(zero));
    }
};

} // namespace samplefold::load::testing
