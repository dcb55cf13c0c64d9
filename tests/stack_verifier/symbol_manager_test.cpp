// What a verifier makes of a symbol library that fails. The program has one of its own, which goes
// before that of the companion.

#include "support/log_capture.h"

#include <samplefold_1/stack_verifier.h>

#include <GLYPH_3_30/module_image.h>

#include <gtest/gtest.h>

#include <functional>
#include <new>
#include <string>
#include <vector>

namespace stack_test {
namespace {

using GLYPH_3_30::IModuleSymbolBank;
using GLYPH_3_30::ISymbolManager;
using GLYPH_3_30::status_t;
using GLYPH_3_30::SymMgrObjectPtr;
using samplefold_1::branch_t;
using samplefold_1::StackVerifier;
namespace status = GLYPH_3_30::status;

using bank_ptr_t = SymMgrObjectPtr<IModuleSymbolBank>;
using texts_t = std::vector<std::string>;

/// What the library of the program answers.
struct answers_t {
    status_t toCreate = status::success;
    std::function<status_t(bank_ptr_t&)> toLoad = [](bank_ptr_t&) { return status::refused; };
    int creations = 0;
    texts_t loads{}; ///< what each was asked for
};
answers_t g_answers;

class FakeManager : public ISymbolManager {
public:
    status_t loadBank(const char* path, GLYPH_3_30::arch_t arch, bank_ptr_t& bank,
                      GLYPH_3_30::ISymbolFileResolver* resolver, std::uint32_t options,
                      const char* debugFile) override
    {
        g_answers.loads.push_back(std::string(path) + " " + std::to_string(arch) + " " +
                                  (resolver == nullptr ? "none " : "some ") +
                                  std::to_string(options) + " '" + debugFile + "'");
        return g_answers.toLoad(bank);
    }
};

/// A bank over the program itself.
bank_ptr_t someBank()
{
    bank_ptr_t bank;
    const auto image = GLYPH_3_30::IModuleImage::create("/proc/self/exe", 0, false);
    EXPECT_EQ(IModuleSymbolBank::create(bank, image, nullptr, true, ""), status::success);
    return bank;
}

class SymbolManager : public testing::Test {
protected:
    SymbolManager() { g_answers = {}; }

    bool verify(std::vector<branch_t>& records)
    {
        return verifier.verify(records, 0x1000, 5, 5, 42, kernel, process);
    }
    /// Texts at debug level meanwhile.
    static texts_t linesOf(const std::function<void()>& action)
    {
        const samplefold_test::LogCapture capture(log4cplus::DEBUG_LOG_LEVEL);
        action();
        texts_t lines;
        for (const auto& entry : capture.entries())
            lines.push_back(entry.text);
        return lines;
    }

    samplefold_1::StaticModuleInfoCache modules{nullptr, ""};
    samplefold_1::SegInstMap kernel;
    samplefold_1::SegInstMap process;
    StackVerifier verifier{modules, nullptr, true};
};

TEST_F(SymbolManager, ThatCannotBeMadeLeavesTheStackAndIsTriedAgainByTheNextCall)
{
    std::vector<branch_t> records{{1, 2}, {3, 4}};
    g_answers.toCreate = status::refused;
    for (const int call : {1, 2}) {
        const texts_t lines = linesOf([&] { EXPECT_FALSE(verify(records)); });
        EXPECT_EQ(lines, (texts_t{"StackVerifier::verify: PID = 42, tsc = 5, ip = 4096, "
                                  "lbrStackSize = 2",
                                  "Failed to initialize symbol manager"}));
        EXPECT_EQ(records.size(), 2U);
        EXPECT_TRUE(verifier.lastLinks().empty());
        EXPECT_EQ(g_answers.creations, call);
    }
    g_answers.toCreate = status::success;
    EXPECT_TRUE(verify(records));
    EXPECT_TRUE(records.empty()) << "nothing is mapped, so the newest link is cut";
    EXPECT_EQ(g_answers.creations, 3);
}

TEST_F(SymbolManager, ThatIsMadeWithAReservationFailsTheCallToo)
{
    std::vector<branch_t> records{{1, 2}};
    g_answers.toCreate = status::guessedEnd;
    EXPECT_FALSE(verify(records));
    EXPECT_EQ(records.size(), 1U);
}

TEST_F(SymbolManager, IsMadeOnceAndAlsoForAnEmptyStack)
{
    std::vector<branch_t> records;
    EXPECT_TRUE(verify(records));
    EXPECT_EQ(g_answers.creations, 1);
    EXPECT_TRUE(verify(records));
    EXPECT_EQ(g_answers.creations, 1);
}

TEST_F(SymbolManager, IsAskedForTablesAndDebugInformationOfAModuleOnce)
{
    g_answers.toLoad = [](bank_ptr_t& bank) {
        bank = someBank();
        return status::success;
    };
    const bank_ptr_t bank = verifier.getCachedSymbolBank("/a/module");
    EXPECT_NE(bank, nullptr);
    EXPECT_EQ(verifier.getCachedSymbolBank("/a/module"), bank);
    EXPECT_EQ(g_answers.loads, texts_t{"/a/module 0 none 6 ''"});
}

TEST_F(SymbolManager, ThatGivesABankWithAReservationIsLoggedAndTheBankKept)
{
    g_answers.toLoad = [](bank_ptr_t& bank) {
        bank = someBank();
        return status::guessedEnd;
    };
    bank_ptr_t bank;
    EXPECT_EQ(linesOf([&] { bank = verifier.getCachedSymbolBank("/a/module"); }),
              texts_t{"Failed to load symobls for module: /a/module"});
    EXPECT_NE(bank, nullptr);
    EXPECT_EQ(verifier.getCachedSymbolBank("/a/module"), bank);
}

TEST_F(SymbolManager, ThatRunsOutOfMemoryLeavesNothingBehindOfTheModule)
{
    g_answers.toLoad = [](bank_ptr_t&) -> status_t { throw std::bad_alloc(); };
    EXPECT_THROW(verifier.getCachedSymbolBank("/a/module"), std::bad_alloc);
    EXPECT_EQ(verifier.getCachedBlockNavigator("/a/module"), nullptr) << "there is no entry";
    g_answers.toLoad = [](bank_ptr_t& bank) {
        bank = someBank();
        return status::success;
    };
    EXPECT_NE(verifier.getCachedSymbolBank("/a/module"), nullptr);
}

/// Notes its end, which is that of the bank that it was given to.
class EndOfBank : public GLYPH_3_30::ISymbolFileResolver {
public:
    explicit EndOfBank(texts_t& ended) : m_ended(ended) {}
    ~EndOfBank() override { m_ended.emplace_back("symbols"); }
    texts_t find(const GLYPH_3_30::symbol_file_request_t&) override { return {}; }

private:
    texts_t& m_ended;
};

class EndOfBlocks : public pathnav_3::IBasicBlockNavigator {
public:
    explicit EndOfBlocks(texts_t& ended) : m_ended(ended) {}
    ~EndOfBlocks() override { m_ended.emplace_back("blocks"); }
    pathnav_3::IBasicBlock* getCurrentBlock() noexcept override { return nullptr; }
    void goTo(std::uint64_t) override {}
    bool stepToFallThrough() override { return false; }
    bool stepToNext() override { return false; }

private:
    texts_t& m_ended;
};

TEST(ModuleStackValidationCache, LetsTheBlocksGoBeforeTheSymbols)
{
    texts_t ended;
    {
        samplefold_1::ModuleStackValidationCache entry;
        const auto image = GLYPH_3_30::IModuleImage::create("/proc/self/exe", 0, false);
        ASSERT_EQ(IModuleSymbolBank::create(entry.symbolBank, image,
                                            new tb2::ref_counted_t<EndOfBank>(ended), true, ""),
                  status::success);
        entry.blockNavigator = new tb2::ref_counted_t<EndOfBlocks>(ended);
        EXPECT_EQ(ended, texts_t{});
    }
    EXPECT_EQ(ended, (texts_t{"blocks", "symbols"}));
}

} // namespace
} // namespace stack_test

GLYPH_3_30::status_t GLYPH_3_30::ISymbolManager::create(SymMgrObjectPtr<ISymbolManager>& manager)
{
    ++stack_test::g_answers.creations;
    if (stack_test::g_answers.toCreate == status::success)
        manager = new tb2::ref_counted_t<stack_test::FakeManager>();
    return stack_test::g_answers.toCreate;
}
