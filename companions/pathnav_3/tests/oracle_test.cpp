// Blocks of whole binaries, compared with what objdump prints of them: the same instructions, ends
// of blocks where it has jumps, calls, returns and traps and nowhere else, and blocks at all
// targets.
//
// The two may differ where data stands in code, since bytes that no processor runs are read in
// several ways: objdump prints "(bad)", or a prefix as an instruction of its own. Each difference
// must begin in a block where it does so, or where the library says that the bytes are no
// instruction, and last until both are at the same address again. How many blocks that may be is
// part of each binary: none for those that compilers made.

#include "listing.h"
#include "sample_program.h"
#include "tool.h"
#include "walk.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <set>

namespace {

using namespace pathnav_test;
using glyph_test::subject_t;
using glyph_test::toHex;
using pathnav_3::terminator_t;

/// A binary, and for how many of a thousand blocks the two may differ.
struct trial_t {
    subject_t subject;
    std::size_t perMille = 0;
};

std::ostream& operator<<(std::ostream& out, const trial_t& trial)
{
    return out << trial.subject;
}

/// The blocks of a binary beside its listing. Addresses are image addresses.
class Comparison {
public:
    explicit Comparison(const std::string& path)
        : m_listed(listInstructions(path)), m_bank(glyph_test::openBank(path)),
          m_source(pathnav_3::IGLYPHDataSource::create(m_bank, false, ~std::uint64_t{0})),
          m_navigator(navigatorOver(m_source)), m_base(m_bank->getPreferredLoadAddress())
    {
    }

    bool hasListing() const { return !m_listed.empty(); }
    std::size_t blocks() const { return m_blocks; }
    std::size_t differing() const { return m_differing; }

    void run()
    {
        decodeAll();
        goToFirst();
        std::uint64_t behind = 0; // the block before
        bool isAstray = false;    // it is a difference, or follows one
        do {
            block_t block = current();
            if (block.start < behind) {
                m_overlapping.push_back(block);
                continue;
            }
            ++m_blocks;
            const listed_t* first = find(block.start);
            ASSERT_TRUE(first != nullptr || isAstray) << toHex(block.start);
            isAstray = first == nullptr || !isAlike(block, *first);
            m_differing += isAstray ? 1 : 0;
            if (isAstray && first != nullptr) {
                ASSERT_TRUE(isJunk(block, *first)) << describe(block);
            }
            behind = block.end;
        } while (m_navigator->stepToNext());
    }

    /// No instruction of the listing is left out.
    void checkCover()
    {
        for (const listed_t& listed : m_listed) {
            m_navigator->goTo(listed.address - m_base);
            ASSERT_NE(m_navigator->getCurrentBlock(), nullptr) << toHex(listed.address);
        }
    }

    void checkTargets()
    {
        std::size_t checked = 0;
        for (const std::uint64_t target : m_targets) {
            m_navigator->goTo(target - m_base);
            const IBasicBlock* block = m_navigator->getCurrentBlock();
            pathnav_3::code_range_t range;
            if (!m_source->findCode(target - m_base, range)) continue;
            ASSERT_NE(block, nullptr) << toHex(target);
            ASSERT_EQ(block->getStart() + m_base, target) << toHex(target);
            ++checked;
        }
        EXPECT_GT(checked, 10u);
    }

    void checkFunctions()
    {
        for (const GLYPH_3_30::symbol_t& symbol : m_bank->getSymbols()) {
            GLYPH_3_30::symbol_t found;
            ASSERT_TRUE(m_bank->findSymbol(symbol.start, found));
            if (found.start != symbol.start) continue; // a label within a function
            m_navigator->goTo(symbol.start - m_base);
            ASSERT_NE(m_navigator->getCurrentBlock(), nullptr) << symbol.name;
            ASSERT_EQ(m_navigator->getCurrentBlock()->getStart() + m_base, symbol.start)
                << symbol.name;
        }
    }

    /// Overlapping blocks are what objdump prints when it begins there; where data stands in code,
    /// apart from those that either of them takes for none.
    void checkOverlapping(const std::string& path, bool hasData)
    {
        for (std::size_t i = 0; i < m_overlapping.size() && i < 12; ++i) {
            const block_t& block = m_overlapping[i];
            const std::vector<listed_t> listed = listInstructions(path, block.start, block.end);
            ASSERT_FALSE(listed.empty()) << describe(block);
            const bool isOdd = block.kind == terminator_t::invalid ||
                               std::any_of(listed.begin(), listed.end(),
                                           [](const listed_t& l) { return l.isJunk; });
            if (hasData && isOdd) continue;
            EXPECT_EQ(listed.front().address, block.start);
            EXPECT_EQ(listed.back().address, block.last);
            EXPECT_EQ(listed.back().kind, block.kind) << describe(block);
        }
    }

private:
    struct block_t {
        std::uint64_t start;
        std::uint64_t end;
        std::uint64_t last;
        terminator_t kind;
        std::uint64_t target;
    };

    /// Every target cuts what it leads to, so that nothing changes any more.
    void decodeAll()
    {
        goToFirst();
        while (m_navigator->stepToNext()) {
        }
    }

    void goToFirst()
    {
        pathnav_3::code_range_t range;
        ASSERT_TRUE(m_source->findNextCode(0, range));
        m_navigator->goTo(range.start);
        ASSERT_NE(m_navigator->getCurrentBlock(), nullptr);
    }

    block_t current() const
    {
        const IBasicBlock& block = *m_navigator->getCurrentBlock();
        const std::uint64_t start = block.getStart() + m_base;
        const std::uint64_t target = block.getTarget();
        return {start, start + block.getSize(), block.getLastInstruction() + m_base,
                static_cast<terminator_t>(block.getTerminatorKind()),
                target == IBasicBlock::unknownTarget ? target : target + m_base};
    }

    const listed_t* find(std::uint64_t address) const
    {
        const auto found = std::lower_bound(
            m_listed.begin(), m_listed.end(), address,
            [](const listed_t& listed, std::uint64_t wanted) { return listed.address < wanted; });
        return found != m_listed.end() && found->address == address ? &*found : nullptr;
    }
    bool isListedEnd(const listed_t* listed) const
    {
        return listed == m_listed.data() + m_listed.size();
    }

    /// Whether the listing has these instructions, up to where the next begins, and the terminator
    /// at the end alone.
    bool isAlike(const block_t& block, const listed_t& first)
    {
        const listed_t* last = &first;
        for (; last->address < block.last; ++last)
            if (last->kind != terminator_t::fallThrough || isListedEnd(last + 1)) return false;
        const bool endsThere = isListedEnd(last + 1) || (last + 1)->address == block.end ||
                               ((last + 1)->address > block.end && !isCode(block.end));
        if (last->address != block.last || !endsThere || last->target != block.target) return false;
        // Where the code of a section ends, the last instruction is none that ends a block.
        const bool endsCode =
            block.kind == terminator_t::invalid && last->kind == terminator_t::fallThrough;
        if (last->kind != block.kind && !(endsCode && !isCode(block.end))) return false;
        if (block.target != IBasicBlock::unknownTarget) m_targets.insert(block.target);
        return true;
    }

    bool isCode(std::uint64_t address) const
    {
        pathnav_3::code_range_t range;
        return m_source->findCode(address - m_base, range);
    }

    bool isJunk(const block_t& block, const listed_t& first) const
    {
        const listed_t* listed = &first;
        for (; !isListedEnd(listed) && listed->address < block.end; ++listed)
            if (listed->isJunk) return true;
        return block.kind == terminator_t::invalid;
    }

    std::string describe(const block_t& block) const
    {
        std::string text = toHex(block.start) + "-" + toHex(block.end) + " last " +
                           toHex(block.last) + " kind " +
                           std::to_string(static_cast<int>(block.kind)) + ":";
        const listed_t* listed = find(block.start);
        for (; listed != nullptr && !isListedEnd(listed) && listed->address < block.end; ++listed)
            text += " " + listed->mnemonic;
        return text;
    }

    std::vector<listed_t> m_listed;
    GLYPH_3_30::SymMgrObjectPtr<GLYPH_3_30::IModuleSymbolBank> m_bank;
    ObjectPtr<IDataSource> m_source;
    ObjectPtr<IBasicBlockNavigator> m_navigator;
    std::uint64_t m_base;
    std::size_t m_blocks = 0;
    std::size_t m_differing = 0;
    std::set<std::uint64_t> m_targets; ///< of jumps and calls that both see
    std::vector<block_t> m_overlapping;
};

class Oracle : public testing::TestWithParam<trial_t> {};

TEST_P(Oracle, blocksAreThoseOfTheInstructionsThatObjdumpPrints)
{
    const std::string path = glyph_test::pathOf(GetParam().subject);
    if (path.empty()) GTEST_SKIP() << "the machine has no such binary";
    Comparison comparison(path);
    if (!comparison.hasListing()) GTEST_SKIP() << "objdump is missing";
    ASSERT_NO_FATAL_FAILURE(comparison.run());
    comparison.checkCover();
    comparison.checkTargets();
    comparison.checkFunctions();
    comparison.checkOverlapping(path, GetParam().perMille != 0);
    RecordProperty("blocks", static_cast<int>(comparison.blocks()));
    RecordProperty("differing", static_cast<int>(comparison.differing()));
    EXPECT_LE(comparison.differing() * 1000, comparison.blocks() * GetParam().perMille);
}

std::vector<trial_t> trials()
{
    std::vector<trial_t> all = {
        {{"libc", "libc.so.6", "", ""}},
        {{"dynamicLinker", "ld-linux-x86-64.so.2", "", ""}},
        {{"pie", "-O2 -g -fPIE -pie", "g++", ""}},
        {{"stripped", "-O2", "g++", "strip", "strip $OUT"}},
        {{"statically", "-O2 -g -static", "g++", ""}},
    };
    if (std::getenv("PATHNAV_TEST_ALL_BINARIES") == nullptr) return all;
    for (const char* name : {"bash", "cmake", "git", "ld", "openssl", "perl", "python3"})
        all.push_back({{name, std::string("command ") + name, "", name}});
    for (const auto& [label, file] :
         {std::pair{"libm", "libm.so.6"}, {"libstdcxx", "libstdc++.so.6"}})
        all.push_back({{label, file, "", ""}});
    // Its assembler code keeps tables between the functions.
    all.push_back({{"libcrypto", "libcrypto.so.3", "", ""}, 30});
    return all;
}

std::string labelOfTrial(const testing::TestParamInfo<trial_t>& info)
{
    return info.param.subject.label;
}

INSTANTIATE_TEST_SUITE_P(Of, Oracle, testing::ValuesIn(trials()), labelOfTrial);

} // namespace
