#include "module_map/callsite_decision_table.h"
#include "module_map/callsite_fixture.h"
#include "support/native_image_file.h"
#include "support/temporary_folder.h"

#include <iterator>

// Every combination of what createCallsiteInstance decides by, against the table of rules: all rows
// that are in the store afterwards, the questions, the reports and the results.
namespace samplefold_test {
namespace {

/// What does not decide, but is written.
struct outfit_t {
    bool storeRva;
    bool linkParents;
    bool hasParent;
    bool intoLocation;
    bool markFrame;
};

using rows_t = std::vector<std::string>;
/// Rows of every table, as text, in the order of their keys.
using store_t = std::map<std::string, rows_t>;

const char* const g_tables[] = {
    "dd_jit_file",       "dd_module_file",      "dd_module_file_attributes",
    "dd_module_segment", "dd_segment_instance", "dd_code_location",
    "dd_callsite"};

constexpr std::uint64_t g_ordinaryAddress = 0xFFFFFFFF81234567;
constexpr std::uint64_t g_segmentStart = 0xFFFFFFFF81000000;
constexpr std::uint64_t g_segmentRva = 0x2000;
constexpr std::uint64_t g_loaderRva = 0x8000000000000777;

std::uint64_t valueOf(address_t address)
{
    switch (address) {
    case address_t::zero:
        return 0;
    case address_t::minusOne:
        return 0xFFFFFFFFFFFFFFFF;
    case address_t::minusTwo:
        return 0xFFFFFFFFFFFFFFFE;
    case address_t::minusThree:
        return 0xFFFFFFFFFFFFFFFD;
    default:
        return g_ordinaryAddress;
    }
}

std::uint64_t valueOf(rva_t rva, std::uint64_t ip)
{
    switch (rva) {
    case rva_t::inSegment:
        return ip + (g_segmentRva - g_segmentStart);
    case rva_t::wholeAddress:
        return ip;
    case rva_t::ofLoader:
        return g_loaderRva;
    case rva_t::zero:
        return 0;
    case rva_t::one:
        return 1;
    case rva_t::two:
        return 2;
    default:
        return 3;
    }
}

std::uint32_t answerOf(loader_t loader, std::uint32_t error)
{
    if (loader == loader_t::noCode) return 4;
    return loader == loader_t::error ? error : 0;
}

/// One call on a fresh store. Keys: instances from 100 on (100 is the given one, where one is
/// given), code locations 200, callsites 300, module segments 400, files 500, attributes 600, JIT
/// files 700.
class Call {
public:
    Call(const decision_input_t& input, const outfit_t& outfit, std::uint32_t error,
         const std::string& modulePath)
    {
        std::int32_t firstKey = 700;
        for (const char* table :
             {"dd_jit_file", "dd_module_file_attributes", "dd_module_file", "dd_module_segment",
              "dd_callsite", "dd_code_location", "dd_segment_instance"}) {
            m_db->table(table).firstKey = firstKey;
            firstKey -= 100;
        }
        m_context.setDb(m_db);
        m_context.m_storeRva = outfit.storeRva;
        m_context.m_linkCallsiteParents = outfit.linkParents;
        m_context.m_errorReporter = reporter;
        prepareLoader(input.loader, error);
        frame.pid = 42;
        frame.process = Index(7);
        frame.jitTime = input.timed ? 5 : 0;
        frame.ip = valueOf(input.address);
        frame.segmentStart = g_segmentStart;
        frame.segmentRva = g_segmentRva;
        frame.modulePath = modulePath;
        frame.parent = outfit.hasParent ? Index(31) : Index();
        frame.markFrame = outfit.markFrame;
        frame.type = static_cast<segment_type_t>(input.type);
        if (outfit.intoLocation) frame.location = &location;
        if (input.segmentGiven)
            frame.segInst = m_context.addSegmentInstance(Index(3), 1, Index(7), {});
        key = frame.createIn(m_context);
    }

    store_t store() const
    {
        store_t all;
        for (const char* table : g_tables) {
            for (const auto& [rowKey, row] : m_db->table(table).rows)
                all[table].push_back(std::to_string(rowKey) + textOf(row));
        }
        return all;
    }

    tb2::sptr_t<FakeErrorReporter> reporter = tb2::make_counted<FakeErrorReporter>();
    boost::intrusive_ptr<FakeJitLoader> loader = makeShared<FakeJitLoader>();
    code_location_t location;
    frame_t frame;
    Index key;

private:
    void prepareLoader(loader_t kind, std::uint32_t error)
    {
        m_context.m_jitEnabled = kind != loader_t::off;
        if (kind == loader_t::none) return;
        // What an answer other than "found" leaves in the results must not be used.
        loader->answer = answerOf(kind, error);
        loader->answerRva = g_loaderRva;
        loader->module = makeShared<FakeJitModule>("/data/jit-42.dump", 3, 2);
        m_context.m_jitSession = loader;
        m_context.createJitLoader(42);
    }
    static std::string textOf(const row_t& row)
    {
        std::string text;
        for (const auto& [column, value] : row)
            text += " " + std::to_string(column) + "=" + show(value);
        return text;
    }

    log_ptr_t m_log = std::make_shared<CallLog>();
    tb2::sptr_t<FakeDatabase> m_db = tb2::make_counted<FakeDatabase>(m_log);
    TestContext m_context;
};

/// What the store holds, by the decision.
store_t expectedStore(const decision_input_t& input, const outfit_t& outfit,
                      const decision_t& decision)
{
    store_t store;
    rows_t instances;
    if (input.segmentGiven) instances.push_back(" 0=s32:3 1=u64:1 2=s32:7 3=null");
    for (int i = 0; i < decision.placeholders; ++i)
        instances.push_back(" 0=null 1=u64:0 2=s32:7 3=null");
    std::string moduleSegment = decision.home == home_t::given ? "3" : "-1";
    if (decision.home == home_t::jit) {
        moduleSegment = "400";
        instances.push_back(" 0=s32:400 1=u64:0 2=s32:7 3=null");
        store["dd_jit_file"] = {"700 0=text: 1=text: 4=s32:4"};
        store["dd_module_file_attributes"] = {"600 1=s32:1 2=s32:1"};
        store["dd_module_file"] = {
            "500 0=text:jit-42.dump 1=text:/data/jit-42.dump 6=s32:4 12=s32:600"};
        store["dd_module_segment"] = {"400 0=s32:500 1=s32:3 2=s32:0 3=s32:0 4=s32:0 5=s32:700"};
    }
    int instanceKey = 100;
    for (const std::string& row : instances)
        store["dd_segment_instance"].push_back(std::to_string(instanceKey++) + row);
    if (outfit.intoLocation) return store;
    const std::string address =
        outfit.storeRva ? "u64:" + std::to_string(valueOf(decision.rva, valueOf(input.address)))
                        : "s32:0";
    store["dd_code_location"] = {"200 0=" + address + " 1=s32:" + moduleSegment + " 14=" + address};
    const bool linked = outfit.linkParents && outfit.hasParent;
    store["dd_callsite"] = {"300 0=" + std::string(linked ? "s32:31" : "null") +
                            " 1=s32:200 5=s32:" + (outfit.markFrame ? "3" : "0")};
    return store;
}

/// Key of the instance that the frame ends in: the given one is the first row, the one of its home
/// the last.
Index expectedInstance(const decision_input_t& input, const decision_t& decision)
{
    const int before = (input.segmentGiven ? 1 : 0) + decision.placeholders;
    return Index(decision.home == home_t::jit ? 100 + before : 100 + before - 1);
}

void expectLocation(const code_location_t& location, const decision_input_t& input,
                    const outfit_t& outfit, const decision_t& decision)
{
    const std::map<home_t, Index> segments{
        {home_t::given, Index(3)}, {home_t::placeholder, Index()}, {home_t::jit, Index(400)}};
    EXPECT_EQ(segments.at(decision.home), location.mod_seg);
    EXPECT_EQ(outfit.storeRva ? valueOf(decision.rva, valueOf(input.address)) : 0, location.rva);
}

class CallsiteDecisionTable : public testing::Test {
protected:
    void check(const decision_input_t& input, const outfit_t& outfit, std::uint32_t error)
    {
        const std::vector<decision_t> decisions = decisionsFor(input);
        ASSERT_EQ(1u, decisions.size()) << "the table holds one rule for every case";
        const decision_t& decision = decisions.front();
        const Call call(input, outfit, error, input.nativeImage ? m_image : m_text);
        EXPECT_EQ(expectedStore(input, outfit, decision), call.store());
        EXPECT_EQ(expectedInstance(input, decision), call.frame.segInst);
        EXPECT_EQ(outfit.intoLocation ? Index(-1) : Index(300), call.key);
        if (outfit.intoLocation) expectLocation(call.location, input, outfit, decision);
        EXPECT_EQ(std::size_t(decision.questions), call.loader->questions.size());
        EXPECT_EQ(std::size_t(decision.reports), call.reporter->reports.size());
        EXPECT_EQ(lines_t{}, m_assertions.take());
    }
    /// The outfits, by the bits of a number below 32.
    static outfit_t outfit(unsigned bits)
    {
        const auto bit = [bits](unsigned n) { return (bits >> n & 1U) != 0; };
        return {bit(0), bit(1), bit(2), bit(3), bit(4)};
    }

private:
    TemporaryFolder m_files;
    std::string m_image = m_files.addFile("image.so", nativeImageBytes());
    std::string m_text = m_files.addFile("text", "no native image, though long enough to be one");
    AssertionRecorder m_assertions;
};

const loader_t g_loaders[] = {loader_t::off, loader_t::none, loader_t::found, loader_t::noCode,
                              loader_t::error};
const address_t g_addresses[] = {address_t::zero, address_t::minusOne, address_t::minusTwo,
                                 address_t::minusThree, address_t::ordinary};

std::vector<decision_input_t> allInputs()
{
    std::vector<decision_input_t> inputs;
    for (unsigned bits = 0; bits < 8; ++bits) {
        for (const std::int32_t type : {0, 1, 2, 7}) {
            for (const loader_t loader : g_loaders) {
                for (const address_t address : g_addresses)
                    inputs.push_back({(bits & 1U) != 0, type, (bits & 2U) != 0, (bits & 4U) != 0,
                                      loader, address});
            }
        }
    }
    return inputs;
}

TEST_F(CallsiteDecisionTable, EveryFrameEndsWhereItsRuleSaysAndLeavesItsRows)
{
    int cases = 0;
    for (const decision_input_t& input : allInputs()) {
        for (unsigned bits = 0; bits < 32; ++bits) {
            SCOPED_TRACE("given " + std::to_string(input.segmentGiven) + ", type " +
                         std::to_string(input.type) + ", native " +
                         std::to_string(input.nativeImage) + ", timed " +
                         std::to_string(input.timed) + ", loader " +
                         std::to_string(static_cast<int>(input.loader)) + ", address " +
                         std::to_string(static_cast<int>(input.address)) + ", outfit " +
                         std::to_string(bits));
            check(input, outfit(bits), 2);
            ++cases;
            if (HasFailure()) return;
        }
    }
    EXPECT_EQ(2 * 4 * 2 * 2 * 5 * 5 * 32, cases);
}

TEST_F(CallsiteDecisionTable, EveryCodeButTwoIsAnError)
{
    for (const bool given : {false, true}) {
        for (const std::uint32_t error : {1u, 2u, 3u, 5u, 255u, 0x80000000u, 0xFFFFFFFFu})
            check({given, 2, false, true, loader_t::error, address_t::ordinary}, outfit(1), error);
    }
}

} // namespace
} // namespace samplefold_test
