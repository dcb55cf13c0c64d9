#include "manual/option_facts.h"

#include <gtest/gtest.h>

namespace samplefold::manual {
namespace {

TEST(OptionFacts, TheNameOfAValueIsToldWithoutItsChecks)
{
    CLI::App app;
    std::string text;
    app.add_option("-k,--table", text, "A table")->type_name("FROM=TO:X")->check(CLI::ExistingFile);
    const OptionFacts facts = optionsOf(app).back();
    EXPECT_EQ(facts.value, "FROM=TO:X");
    EXPECT_EQ(facts.names, (std::vector<std::string>{"-k", "--table"}));
    EXPECT_EQ(facts.description, "A table");
    EXPECT_FALSE(facts.isPositional);
    EXPECT_FALSE(facts.isRequired);
}

TEST(OptionFacts, AnOptionThatTakesOnlySomeValuesTellsThem)
{
    CLI::App app;
    std::string text = "on";
    app.add_option("--jit", text, "")->check(CLI::IsMember({"on", "off"}))->capture_default_str();
    const OptionFacts facts = optionsOf(app).back();
    EXPECT_EQ(facts.choices, (std::vector<std::string>{"on", "off"}));
    EXPECT_EQ(facts.value, "on|off");
    EXPECT_EQ(facts.byDefault, "on");
}

TEST(OptionFacts, AFlagTakesNoValue)
{
    CLI::App app;
    bool flag = false;
    app.add_flag("--json", flag, "");
    EXPECT_EQ(optionsOf(app).back().value, "");
}

TEST(OptionFacts, AnArgumentHasANameAndNoHyphens)
{
    CLI::App app;
    std::string text;
    app.add_option("RESULT", text, "")->required();
    const OptionFacts facts = optionsOf(app).back();
    EXPECT_TRUE(facts.isPositional);
    EXPECT_TRUE(facts.isRequired);
    EXPECT_TRUE(facts.names.empty());
    EXPECT_EQ(facts.value, "RESULT");
}

} // namespace
} // namespace samplefold::manual
