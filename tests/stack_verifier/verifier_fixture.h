#pragma once

#include "listing.h"
#include "support/fake_jit_loader.h"
#include "support/temporary_folder.h"

#include <samplefold_1/stack_verifier.h>

#include <rowvault1/result.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace stack_test {

using rowvault1::Index;
using samplefold_1::branch_t;
using samplefold_1::IP_SKIPPED_FRAMES;
using samplefold_1::link_outcome_t;
using samplefold_1::merge_outcome_t;
using samplefold_1::SegInstInfo;
using samplefold_1::SegInstMap;
using samplefold_1::StackVerifier;
namespace link_check = samplefold_1::link_check;

using lines_t = std::vector<std::string>;
using stack_t = std::vector<branch_t>;
using chain_t = std::vector<std::uint64_t>;
using links_t = std::vector<link_outcome_t>;

/// A loader that has generated code at [first, last], at relative addresses from 0x40 on.
class RangeJitLoader : public samplefold_test::FakeJitLoader {
public:
    static constexpr std::uint64_t first = 0x600000000000;
    static constexpr std::uint64_t last = first + 0xfff;
    static constexpr std::uint64_t rvaOfFirst = 0x40;

    std::uint32_t resolve(std::uint64_t time, std::uint64_t ip, std::uint32_t pid,
                          std::uint32_t status, std::uint64_t& rva,
                          boost::intrusive_ptr<jitlens_3_13::IModule>& found) override
    {
        answer = first <= ip && ip <= last ? jitlens_3_13::code::found : jitlens_3_13::code::noCode;
        answerRva = ip - first + rvaOfFirst;
        return FakeJitLoader::resolve(time, ip, pid, status, rva, found);
    }
};

/// A context in which the test can put its own loader.
class JitContext : public samplefold_1::LoaderContext {
public:
    using LoaderContext::m_jitSession;
};

/// A process with the program, its library and generated code, over a kernel that is the program
/// linked for one address. `navigating` decodes code, `plain` does not.
class VerifierTest : public testing::Test {
protected:
    static constexpr std::uint32_t pid = 42;
    static constexpr std::uint64_t tsc = 1000;
    static constexpr std::uint64_t jitTime = 77;
    static constexpr std::uint64_t programBase = 0x555500000000;
    static constexpr std::uint64_t libraryBase = 0x7f0000000000;
    static constexpr std::uint64_t kernelBase = 0xffffffff81000000;
    static constexpr std::uint64_t bareBase = 0x555600000000;
    static constexpr std::uint64_t jit = RangeJitLoader::first;
    static constexpr std::uint64_t nowhere = 0xdead0000;

    VerifierTest();

    /// Address of a place of the program; those of the others as "library:", "kernel:", "bare:"
    /// and "jit:" (a number behind it).
    static std::uint64_t at(const std::string& place);
    static branch_t record(const std::string& from, const std::string& to)
    {
        return {at(from), at(to)};
    }

    /// Maps all code of a listing, as its segments stand in the file.
    void map(SegInstMap& space, const Listing& listing, std::uint64_t base);
    /// Maps one segment of the module that was recorded as `modulePath`, up to `high` included.
    /// Before the first question to the space.
    void mapAs(SegInstMap& space, const std::string& modulePath, std::uint64_t low,
               std::uint64_t high, std::uint64_t offsetInFile);

    bool verify(StackVerifier& verifier, stack_t& records, std::uint64_t ip)
    {
        return verifier.verify(records, ip, jitTime, tsc, pid, kernel, process);
    }
    /// What the navigating verifier says of each link, the newest first. Fails the test when what
    /// it keeps are not the records of the links that hold.
    links_t linksOf(const stack_t& records, std::uint64_t ip);
    links_t linksOf(const stack_t& records, const std::string& ip)
    {
        return linksOf(records, at(ip));
    }
    bool merge(StackVerifier& verifier, stack_t records, chain_t& chain,
               const boost::intrusive_ptr<jitlens_3_13::ISymbolResolver>& resolver = nullptr)
    {
        return verifier.merge(records, chain, jitTime, tsc, pid, kernel, process, resolver);
    }

    Index addRow(const char* table, const tb2::variant_t& value);

    samplefold_test::TemporaryFolder folder;
    std::string resultFolder = folder.path("result");
    tb2::sptr_t<rowvault1::IResult> result =
        rowvault1::openResult(resultFolder, rowvault1::open_mode_t::create);
    samplefold_1::StaticModuleInfoCache modules{result->database(), resultFolder};
    boost::intrusive_ptr<RangeJitLoader> loader = samplefold_test::makeShared<RangeJitLoader>();
    JitContext context;
    SegInstMap kernel;
    SegInstMap process;
    StackVerifier navigating{modules, &context, true};
    StackVerifier plain{modules, &context, false};
};

/// What the component logs at debug level meanwhile.
lines_t debugLines(const std::function<void()>& action);
/// Whether `line` is one of them.
bool contains(const lines_t& lines, const std::string& line);
/// "0x" and the number, with blanks behind it up to `width` characters.
std::string hex(std::uint64_t number, std::size_t width = 0);

} // namespace stack_test

namespace samplefold_1 {
std::ostream& operator<<(std::ostream& out, link_outcome_t outcome);
std::ostream& operator<<(std::ostream& out, merge_outcome_t outcome);
inline bool operator==(const branch_t& a, const branch_t& b)
{
    return a.from == b.from && a.to == b.to;
}
} // namespace samplefold_1
