#include "made_chains.h"

#include "report/explain_report.h"
#include "report/report_error.h"

#include <sstream>

namespace samplefold::report {
namespace {

using rowvault1::Index;
using rowvault1::utils::indexToVariant;
using testing::Columns;
using testing::number;
using testing::text;

class ExplainReportTest : public testing::MadeChainsTest {
protected:
    ExplainReportTest() { result().setInfo("ticks", "recorded"); }

    /// A sample at tick 5 with the columns of its stack; its number.
    std::int64_t sampleWith(Index leaf, const Columns& stack)
    {
        Columns columns{{"callsite", indexToVariant(leaf)},
                        {"ip", tb2::variant_t(std::uint64_t{0x400010})}};
        if (!stack.empty())
            columns.emplace_back("lbr_head", indexToVariant(add("dd_lbr_head", stack)));
        add({cycles, add("dd_sample", columns), thread, Index(), 3, leaf, 5});
        return ++m_samples;
    }
    void addVerdict(std::string_view letter, std::string_view meaning, std::int32_t kept)
    {
        add("dd_link_verdict",
            {{"letter", text(letter)}, {"name", text(meaning)}, {"kept", number(kept)}});
    }
    void addDetails(std::string_view details)
    {
        add("dd_branch_detail", {{"thread", indexToVariant(thread)},
                                 {"tick", tb2::variant_t(std::uint64_t{5})},
                                 {"details", text(details)}});
    }
    std::string written(std::int64_t number)
    {
        std::ostringstream out;
        writeExplanation(result(), number, out);
        return out.str();
    }
    std::string overview()
    {
        std::ostringstream out;
        writeBranchOverview(result(), out);
        return out.str();
    }
    std::string refusal(std::int64_t number)
    {
        try {
            explanationToJson(result(), number);
        } catch (const ReportError& error) {
            return error.what();
        }
        return {};
    }

    std::int64_t m_samples = 0;
};

/// Two records, of which the older one was cut.
const Columns g_twoRecords{
    {"kind", text("call stack")},
    {"records", text("000000500010"
                     "000000500020"
                     "000000500030"
                     "ffff80000040")},
    {"verdicts", text("kc")},
    {"chain", text("merged")},
    {"merge", text("merged, the outermost frames are not known")},
};

TEST_F(ExplainReportTest, ASampleIsToldWithItsRecordsAndBothChains)
{
    addVerdict("k", "kept: holds", 1);
    addVerdict("c", "cut: does not", 0);
    addDetails("000120003451");
    Columns stack = g_twoRecords;
    stack.emplace_back("software", indexToVariant(chain({"main", "leaf"})));
    const auto leaf =
        frame(frame(frame(frame({}, place("", 1)), place("/bin/x", 16)), place("/bin/app", 0x77)),
              place("/bin/app", 32));
    EXPECT_EQ(written(sampleWith(leaf, stack)),
              "sample      1\n"
              "time        0.000000005 s\n"
              "event       cycles, count 3\n"
              "process     worker (pid 10)\n"
              "thread      worker (tid 11)\n"
              "ip          0x400010\n"
              "records     call stack, 2 records: 1 kept, 1 cut\n"
              "chain       the software chain and the branch records, merged\n"
              "merge       merged, the outermost frames are not known\n"
              "\n"
              "Branch records, the newest first\n"
              "  record  from      in  to                  in  cycles  predicted  verdict\n"
              "       0  0x500010      0x500020                    12  "
              "           kept: holds\n"
              "       1  0x500030      0xffffffff80000040         345  no         cut: does not\n"
              "\n"
              "Call chain, from the sampled frame on\n"
              "  as stored                              of software\n"
              "  leaf                                   leaf\n"
              "  app+0x77                               main\n"
              "  x+0x10\n"
              "  [the chain goes on, how is not known]\n");
}

TEST_F(ExplainReportTest, AScriptGetsTheSame)
{
    addVerdict("k", "kept: holds", 1);
    addVerdict("c", "cut: does not", 0);
    addDetails("000002");
    Columns stack = g_twoRecords;
    stack.emplace_back("software", indexToVariant(chain({"leaf"})));
    const auto number = sampleWith(frame(frame({}, place("", 1)), place("/bin/app", 16)), stack);
    const auto json = explanationToJson(result(), number)["sample"];
    EXPECT_EQ(json["tick"], 5);
    EXPECT_EQ(json["ip"].dump(),
              R"({"address":"0x400010","module":null,"rva":null,"function":null})");
    EXPECT_EQ(json["chain"].dump(),
              R"([{"label":"leaf","module":"app","rva":"0x10","function":"leaf","goes_on":false},)"
              R"({"label":"[the chain goes on, how is not known]","module":null,"rva":null,)"
              R"("function":null,"goes_on":true}])");
    const auto& found = json["branch_stack"];
    EXPECT_EQ(found["chain"], "merged");
    ASSERT_EQ(found["records"].size(), 2U);
    EXPECT_EQ(found["records"][0]["from"]["address"], "0x500010");
    EXPECT_EQ(found["records"][0]["mispredicted"], false);
    EXPECT_TRUE(found["records"][0]["cycles"].is_null());
    EXPECT_EQ(found["records"][0]["kept"], true);
    EXPECT_EQ(found["records"][1]["verdict"], "cut: does not");
    EXPECT_EQ(found["records"][1]["kept"], false);
    ASSERT_EQ(found["software"].size(), 1U);
    EXPECT_EQ(found["software"][0]["function"], "leaf");
}

TEST_F(ExplainReportTest, ASampleWithoutRecordsHasItsChain)
{
    const std::string out = written(sampleWith(chain({"main", "leaf"}), {}));
    EXPECT_NE(out.find("records     the sample has no branch records\n"
                       "\n"
                       "Call chain, from the sampled frame on\n"
                       "  frame\n"
                       "  leaf\n"
                       "  main\n"),
              std::string::npos)
        << out;
    EXPECT_TRUE(explanationToJson(result(), 1)["sample"]["branch_stack"].is_null());
}

TEST_F(ExplainReportTest, RecordsThatWereNotCheckedSaySo)
{
    const Columns stack{{"kind", text("taken branches")},
                        {"records", text("000000500010000000500020")}};
    const std::string out = written(sampleWith(chain({"leaf"}), stack));
    EXPECT_NE(out.find("records     taken branches, 1 record: 1 not checked\n"
                       "chain       the sampled address alone\n"
                       "merge       not tried\n"),
              std::string::npos)
        << out;
    EXPECT_NE(out.find("  software collected none\n"), std::string::npos) << out;
    EXPECT_EQ(out.find("cycles  "), std::string::npos) << out;
    EXPECT_EQ(out.find("predicted"), std::string::npos) << out;
}

TEST_F(ExplainReportTest, AStackWithoutARecordAndASampleWithoutAChainAreToldToo)
{
    const std::string out = written(sampleWith({}, {{"kind", text("call stack")}}));
    EXPECT_NE(out.find("records     call stack, 0 records\n"), std::string::npos) << out;
    EXPECT_NE(out.find("  the sample has none\n"), std::string::npos) << out;
}

TEST_F(ExplainReportTest, NamesOutOfAProfileCannotMoveTheCursor)
{
    const std::string out = written(sampleWith(chain({"le\x1b[2Jaf"}), {}));
    EXPECT_EQ(out.find('\x1b'), std::string::npos);
    EXPECT_NE(out.find("le\\x1b[2Jaf"), std::string::npos);
}

TEST_F(ExplainReportTest, ASampleThatIsNotThereIsRefusedWithTheNumbersThatAre)
{
    EXPECT_NE(refusal(1).find("it has no samples"), std::string::npos) << refusal(1);
    for (int i = 0; i < 3; ++i)
        sampleWith(chain({"leaf"}), {});
    EXPECT_EQ(refusal(3), "");
    EXPECT_NE(refusal(4).find("it has no sample 4: its numbers are 1 to 3"), std::string::npos)
        << refusal(4);
}

TEST_F(ExplainReportTest, RowsThatAreSumsAreNoSamples)
{
    sampleWith(chain({"leaf"}), {});
    result().setInfo("store_each_sample", "off");
    EXPECT_NE(refusal(1).find("--store-each-sample on"), std::string::npos) << refusal(1);
}

TEST_F(ExplainReportTest, TheOverviewNamesASampleOfEachKind)
{
    addVerdict("k", "kept: holds", 1);
    addVerdict("c", "cut: does not", 0);
    for (const char* const what :
         {"samples with branch records", "chain: merged", "merge: not needed", "record kept: holds",
          "record cut: does not"})
        add("dd_branch_quality",
            {{"what", text(what)}, {"count", tb2::variant_t(std::uint64_t{1})}});
    const Index leaf = chain({"leaf"});
    sampleWith(leaf, {});
    sampleWith(leaf, {{"records", text("000000500010000000500020")}, {"verdicts", text("k")}});
    sampleWith(leaf, g_twoRecords);
    const auto json = branchOverviewToJson(result())["branch_records"];
    ASSERT_EQ(json.size(), 5U);
    EXPECT_TRUE(json[0]["sample"].is_null());
    EXPECT_EQ(json[1]["sample"], 3);
    EXPECT_TRUE(json[2]["sample"].is_null());
    EXPECT_EQ(json[3]["sample"], 2);
    EXPECT_EQ(json[4]["sample"], 3);
    EXPECT_NE(overview().find("record cut: does not"), std::string::npos);
    EXPECT_NE(overview().find("--sample N shows one sample"), std::string::npos);
    result().setInfo("store_each_sample", "off");
    EXPECT_TRUE(branchOverviewToJson(result())["branch_records"][4]["sample"].is_null());
    EXPECT_EQ(overview().find("--sample N"), std::string::npos);
}

TEST_F(ExplainReportTest, TheOverviewOfAResultWithoutRecordsSaysSo)
{
    EXPECT_NE(overview().find("No sample has branch records."), std::string::npos);
    EXPECT_TRUE(branchOverviewToJson(result())["branch_records"].empty());
}

} // namespace
} // namespace samplefold::report
