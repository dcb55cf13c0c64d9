#include "support/log_capture.h"
#include "support/temporary_folder.h"

#include <rowvault1/result.h>
#include <samplefold_1/utils_mux_groups.h>

#include <gtest/gtest.h>

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

namespace samplefold_1::utils {
namespace {

using tb2::variant_t;

std::string g_raised;

/// A folder for the event file, and a result for the value.
class CoreMuxGroups : public testing::Test {
protected:
    CoreMuxGroups()
    {
        g_raised.clear();
        m_former = tb2::error_code_t::setRaiseHandler(
            [](std::int32_t, std::string_view text, const char*, int) { g_raised = text; });
    }
    ~CoreMuxGroups() override { tb2::error_code_t::setRaiseHandler(m_former); }

    std::int32_t populate() const
    {
        return populateCoreMuxGroups(folder.path(), result->perfDatabase()).value();
    }
    variant_t stored() const
    {
        return result->perfDatabase()->getContextManager()->value("muxGroupCount");
    }
    /// Value that a file of this content gives.
    variant_t countOf(const std::string& content) const
    {
        folder.addFile("hwsamp.events", content);
        EXPECT_EQ(populate(), 0) << content;
        return stored();
    }
    static variant_t groups(std::int32_t count) { return variant_t(count); }

    samplefold_test::TemporaryFolder folder;
    tb2::sptr_t<rowvault1::IResult> result =
        rowvault1::openResult(folder.path("result"), rowvault1::open_mode_t::create);
    samplefold_test::LogCapture log;

private:
    tb2::error_code_t::raise_handler_t m_former;
};

TEST_F(CoreMuxGroups, AreCountedFromNull)
{
    EXPECT_EQ(countOf("PMU type: Core\nGroup 0: A,B\nGroup 1: C\nGroup 2: D\n"), groups(3));
}

TEST_F(CoreMuxGroups, OfOtherUnitsDoNotCount)
{
    EXPECT_EQ(countOf("PMU type: Core\nGroup 1: A\nPMU type: Uncore iio\nGroup 7: B\n"), groups(2));
}

TEST_F(CoreMuxGroups, OfTwoSectionsAreNotSummed)
{
    EXPECT_EQ(countOf("PMU type: Core\nGroup 0: A\nGroup 4: B\nPMU type: Uncore\nGroup 9: C\n"
                      "PMU type: Core\nGroup 2: D\n"),
              groups(5));
}

TEST_F(CoreMuxGroups, AnyTextAfterCoreStillOpensACoreSection)
{
    EXPECT_EQ(countOf("PMU type: Core (8 counters)\nGroup 3:\n"), groups(4));
    EXPECT_EQ(countOf("PMU type: CoreOfSomething\nGroup 3:\n"), groups(4));
}

TEST_F(CoreMuxGroups, BeforeTheFirstSectionDoNotCount)
{
    EXPECT_EQ(countOf("Group 5: A\nPMU type: Core\nGroup 1: B\n"), groups(2));
}

TEST_F(CoreMuxGroups, WithoutAnyTheCountIsOne)
{
    EXPECT_EQ(countOf("PMU type: Core\n"), groups(1));
    EXPECT_EQ(countOf(""), groups(1));
}

TEST_F(CoreMuxGroups, LinesOfGroupWithoutABlankOrANumberAreSkipped)
{
    EXPECT_EQ(countOf("PMU type: Core\nGroup\nGroup \nGroup:9\nGroup\t9\n"), groups(1));
}

TEST_F(CoreMuxGroups, TheNumberIsTheSecondTokenHoweverItIsDivided)
{
    EXPECT_EQ(countOf("PMU type: Core\nGroup 3:\n"), groups(4));
    EXPECT_EQ(countOf("PMU type: Core\nGroup 3 : x\n"), groups(4));
    EXPECT_EQ(countOf("PMU type: Core\nGroup  \t::3\tx 8\n"), groups(4));
}

TEST_F(CoreMuxGroups, LinesCountByTheirBeginningToTheByte)
{
    EXPECT_EQ(countOf(" PMU type: Core\nGroup 3:\n"), groups(1));
    EXPECT_EQ(countOf("PMU type: Core\n Group 3:\n"), groups(1));
    EXPECT_EQ(countOf("pmu type: core\nGroup 3:\n"), groups(1));
    EXPECT_EQ(countOf("PMU type: Core\ngroup 3:\n"), groups(1));
    EXPECT_EQ(countOf("PMU type:Core\nGroup 3:\n"), groups(1));
}

TEST_F(CoreMuxGroups, ATokenThatIsNoNumberIsNull)
{
    EXPECT_EQ(countOf("PMU type: Core\nGroup x: A\n"), groups(1));
    EXPECT_EQ(countOf("PMU type: Core\nGroup -4: A\n"), groups(1));
    EXPECT_EQ(countOf("PMU type: Core\nGroup 2x: A\n"), groups(3)) << "as far as it is one";
}

TEST_F(CoreMuxGroups, ANumberBeyondAllRangesDoesNoHarm)
{
    EXPECT_EQ(countOf("PMU type: Core\nGroup 99999999999999999999999: A\n"), groups(0));
    EXPECT_EQ(countOf("PMU type: Core\nGroup 4294967298: A\n"), groups(3)) << "cut to 32 bits";
}

TEST_F(CoreMuxGroups, CarriageReturnsAndAMissingLastNewlineDoNoHarm)
{
    EXPECT_EQ(countOf("PMU type: Core\r\nGroup 3\r\nGroup 6"), groups(7));
}

TEST_F(CoreMuxGroups, ALaterCallReplacesTheValue)
{
    countOf("PMU type: Core\nGroup 6:\n");
    EXPECT_EQ(countOf("PMU type: Core\nGroup 1:\n"), groups(2));
}

TEST_F(CoreMuxGroups, OfAMissingFileAreLeftUnsetInSilence)
{
    EXPECT_EQ(populate(), 1);
    EXPECT_TRUE(stored().is_null());
    EXPECT_TRUE(log.entries().empty());
    EXPECT_EQ(g_raised, "");
}

TEST_F(CoreMuxGroups, AFileWhoseStateCannotBeToldIsAMissingOne)
{
    std::filesystem::create_symlink("hwsamp.events", folder.path("hwsamp.events"));
    EXPECT_EQ(populate(), 1) << "a link to itself";
    EXPECT_EQ(populateCoreMuxGroups(folder.path("no/such/folder"), result->perfDatabase()).value(),
              1);
    EXPECT_TRUE(stored().is_null());
    EXPECT_TRUE(log.entries().empty());
}

TEST_F(CoreMuxGroups, OfAFolderOfThatNameCannotBeRead)
{
    folder.addFolder("hwsamp.events");
    EXPECT_GT(populate(), 1);
    EXPECT_TRUE(stored().is_null());
    EXPECT_EQ(g_raised, "tb2::error::FailedTo.Open.The.File(" + folder.path("hwsamp.events") + ")");
    ASSERT_EQ(log.entries().size(), 1u);
    EXPECT_TRUE(log.entries()[0].text.starts_with("!inStream.bad(), at file: "));
}

/// A socket that stands at a path while it lives.
class BoundSocket {
public:
    explicit BoundSocket(const std::string& path) : m_socket(::socket(AF_UNIX, SOCK_STREAM, 0))
    {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        path.copy(address.sun_path, sizeof address.sun_path - 1);
        m_isBound =
            ::bind(m_socket, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    }
    ~BoundSocket() { ::close(m_socket); }
    BoundSocket(const BoundSocket&) = delete;
    BoundSocket& operator=(const BoundSocket&) = delete;
    bool isBound() const { return m_isBound; }

private:
    int m_socket;
    bool m_isBound = false;
};

TEST_F(CoreMuxGroups, OfAFileThatCannotBeOpenedAreAFailure)
{
    const std::string path = folder.path("hwsamp.events");
    const BoundSocket socket(path);
    ASSERT_TRUE(socket.isBound());
    EXPECT_GT(populate(), 1);
    EXPECT_TRUE(stored().is_null());
    EXPECT_EQ(g_raised, "tb2::error::FailedTo.Open.The.File(" + path + ")");
    ASSERT_EQ(log.entries().size(), 1u);
    EXPECT_TRUE(log.entries()[0].text.starts_with("inStream.is_open(), at file: "));
}

TEST_F(CoreMuxGroups, OfBinaryBytesAreFoundWhereTheyAre)
{
    std::string bytes;
    for (int letter = 0; letter < 100'000; ++letter)
        bytes += static_cast<char>(letter * 37 % 251);
    EXPECT_EQ(countOf(bytes), groups(1));
    const std::string nul(1, '\0');
    EXPECT_EQ(countOf(bytes + "\nPMU type: Core" + nul + "\nGroup 5:" + nul + "\n" + bytes),
              groups(6));
}

TEST_F(CoreMuxGroups, OfAHugeFileAreCountedInOnePass)
{
    std::ofstream file(folder.path("hwsamp.events"));
    file << "PMU type: Core\n";
    for (int group = 0; group < 1'000'000; ++group)
        file << "Group " << group << ": EVENT_OF_SOME_LENGTH, ANOTHER\n";
    file.close();
    EXPECT_EQ(populate(), 0);
    EXPECT_EQ(stored(), groups(1'000'000));
}

TEST_F(CoreMuxGroups, OfALineWithoutEndOnlyTheBeginningIsKept)
{
    const std::string file = folder.addFile("hwsamp.events", "PMU type: Core\nGroup 4:");
    std::filesystem::resize_file(file, std::uintmax_t{64} << 20);
    std::ofstream(file, std::ios::app) << "\nGroup 7:\n";
    EXPECT_EQ(populate(), 0);
    EXPECT_EQ(stored(), groups(8));
}

TEST_F(CoreMuxGroups, NeedAResultThatKeepsValues)
{
    class Bare : public rowvault1::IPerfDatabase {
        tb2::sptr_t<rowvault1::IGrouperInstanceTableDef> getInstanceTableDef(const char*,
                                                                             int) override
        {
            return {};
        }
        void bindInstanceTable(const tb2::sptr_t<rowvault1::IGrouperInstanceTableDef>&, const char*,
                               int, const char*, const char*, const char*) override
        {
        }
    };
    folder.addFile("hwsamp.events", "");
    const tb2::sptr_t<rowvault1::IPerfDatabase> bare = tb2::make_counted<Bare>();
    EXPECT_GT(populateCoreMuxGroups(folder.path(), bare).value(), 1);
    EXPECT_EQ(g_raised, "tb2::error::FailedTo.Get.The.Object");
    ASSERT_EQ(log.entries().size(), 1u);
    EXPECT_TRUE(log.entries()[0].text.starts_with("contextMgr, at file: "));
}

TEST_F(CoreMuxGroups, CannotBeKeptInAResultForReading)
{
    result->finish();
    result.reset();
    result = rowvault1::openResult(folder.path("result"), rowvault1::open_mode_t::read_only);
    folder.addFile("hwsamp.events", "PMU type: Core\nGroup 4:\n");
    EXPECT_GT(populate(), 1);
    EXPECT_EQ(g_raised, "tb2::error::FailedTo.Set.The.Object");
    ASSERT_EQ(log.entries().size(), 1u);
    EXPECT_TRUE(log.entries()[0].text.starts_with("bRet, at file: "));
}

} // namespace
} // namespace samplefold_1::utils
