#include "verifier_fixture.h"

#include <filesystem>

namespace stack_test {
namespace {

class VerifierCaches : public VerifierTest {};

TEST_F(VerifierCaches, SymbolsOfAModuleAreReadOnce)
{
    const auto bank = navigating.getCachedSymbolBank(program().path());
    ASSERT_NE(bank, nullptr);
    EXPECT_EQ(navigating.getCachedSymbolBank(program().path()), bank);
    EXPECT_NE(navigating.getCachedSymbolBank(library().path()), bank);
}

TEST_F(VerifierCaches, AFailureIsLoggedOnceAndRemembered)
{
    const std::string path = folder.path("late");
    EXPECT_EQ(debugLines([&] { EXPECT_EQ(navigating.getCachedSymbolBank(path), nullptr); }),
              lines_t{"Failed to load symobls for module: " + path});
    std::filesystem::copy_file(program().path(), path);
    EXPECT_EQ(debugLines([&] { EXPECT_EQ(navigating.getCachedSymbolBank(path), nullptr); }),
              lines_t{})
        << "also when the file has appeared";
}

TEST_F(VerifierCaches, AFileThatIsNoModuleHasNoBank)
{
    EXPECT_EQ(navigating.getCachedSymbolBank(folder.addFile("text", "no ELF")), nullptr);
}

TEST_F(VerifierCaches, ThereAreNoBlocksOfAModuleThatNobodyLoaded)
{
    EXPECT_EQ(navigating.getCachedBlockNavigator(program().path()), nullptr);
    EXPECT_EQ(navigating.getCachedBlockNavigator(program().path()), nullptr);
    navigating.getCachedSymbolBank(program().path());
    EXPECT_NE(navigating.getCachedBlockNavigator(program().path()), nullptr);
}

TEST_F(VerifierCaches, TheNavigatorOfAModuleIsBuiltOnce)
{
    navigating.getCachedSymbolBank(program().path());
    const auto navigator = navigating.getCachedBlockNavigator(program().path());
    EXPECT_EQ(navigating.getCachedBlockNavigator(program().path()), navigator);
    navigator->goTo(program().rva("work_calls_leaf"));
    ASSERT_NE(navigator->getCurrentBlock(), nullptr);
    EXPECT_EQ(navigator->getCurrentBlock()->getLastInstruction(), program().rva("work_calls_leaf"));
}

TEST_F(VerifierCaches, AModuleWithoutABankHasANavigatorWithoutCode)
{
    navigating.getCachedSymbolBank("/no/such/file");
    const auto navigator = navigating.getCachedBlockNavigator("/no/such/file");
    ASSERT_NE(navigator, nullptr);
    navigator->goTo(0x1000);
    EXPECT_EQ(navigator->getCurrentBlock(), nullptr);
}

TEST_F(VerifierCaches, VerifiersShareNothing)
{
    EXPECT_NE(navigating.getCachedSymbolBank(program().path()),
              plain.getCachedSymbolBank(program().path()));
}

} // namespace
} // namespace stack_test
