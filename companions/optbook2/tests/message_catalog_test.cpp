#include "support/scoped_environment.h"
#include "support/temporary_folder.h"

#include <optbook2/message_catalog.h>

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <thread>

namespace optbook2 {
namespace {

using samplefold_test::ScopedEnvironment;
using samplefold_test::TemporaryFolder;

constexpr const char* g_folderVariable = "SAMPLEFOLD_MESSAGE_DIR";
constexpr const char* g_shippedId = "%CannotLocateBinaryFile";

/// What `ask` gives in a process of its own, because a catalogue is read once in each.
std::string inAnotherProcess(const std::function<std::string()>& ask)
{
    int ends[2];
    EXPECT_EQ(::pipe(ends), 0);
    const pid_t child = ::fork();
    if (child == 0) {
        const std::string answer = ask();
        const bool written =
            ::write(ends[1], answer.data(), answer.size()) == static_cast<ssize_t>(answer.size());
        ::_exit(written ? 0 : 1);
    }
    ::close(ends[1]);
    std::string answer;
    char bytes[4096];
    for (ssize_t got = 0; (got = ::read(ends[0], bytes, sizeof bytes)) > 0;)
        answer.append(bytes, static_cast<std::size_t>(got));
    ::close(ends[0]);
    int status = 0;
    ::waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
    return answer;
}

/// The text of an id with the argument "/bin/tool", the folder being chosen by the environment.
std::string messageFrom(const std::string& folder, const std::string& catalog,
                        const std::string& id)
{
    return inAnotherProcess([&] {
        const ScopedEnvironment chosen(g_folderVariable, folder.c_str());
        return getMessageCatalog(catalog.c_str())->getMessage(id, {"/bin/tool"});
    });
}

/// What samplefold1 says where no file of it is found.
std::string builtinMessage()
{
    return messageFrom("/no/such/folder", "samplefold1", g_shippedId);
}

TEST(MessageCatalog, TakesTextsFromTheFileInTheChosenFolder)
{
    const TemporaryFolder folder;
    folder.addFile("other.messages", R"({"%Lost": "%1 is lost, and %2 too; 100%"})");
    EXPECT_EQ(messageFrom(folder.path(), "other", "%Lost"), "/bin/tool is lost, and %2 too; 100%");
}

TEST(MessageCatalog, PutsEachArgumentInItsPlace)
{
    const TemporaryFolder folder;
    folder.addFile("places.messages", R"({"%Two": "%2 before %1"})");
    const ScopedEnvironment chosen(g_folderVariable, folder.path().c_str());
    EXPECT_EQ(getMessageCatalog("places")->getMessage("%Two", {"%2", "b"}), "b before %2");
}

TEST(MessageCatalog, GivesAnUnknownIdItself)
{
    EXPECT_EQ(getMessageCatalog("nobody")->getMessage("%Nothing", {"a"}), "%Nothing");
    EXPECT_EQ(messageFrom("/no/such/folder", "samplefold1", "%Nothing %1"), "%Nothing %1");
}

TEST(MessageCatalog, IsTheSameForAllThreads)
{
    IMessageCatalog* seen[8] = {};
    std::vector<std::thread> threads;
    for (IMessageCatalog*& one : seen)
        threads.emplace_back([&one] { one = getMessageCatalog("shared").get(); });
    for (std::thread& thread : threads)
        thread.join();
    for (const IMessageCatalog* one : seen)
        EXPECT_EQ(one, getMessageCatalog("shared").get());
    EXPECT_NE(getMessageCatalog("shared").get(), getMessageCatalog("another").get());
}

TEST(MessageCatalog, HasTextsWithoutAnyInstalledFile)
{
    const std::string text = builtinMessage();
    EXPECT_NE(text, g_shippedId);
    EXPECT_NE(text.find("/bin/tool"), std::string::npos) << text;
    EXPECT_EQ(text.find("%1"), std::string::npos) << text;
}

TEST(MessageCatalog, ReadsTheFileThatIsShippedAsWhatIsCompiledIn)
{
    const TemporaryFolder folder;
    std::filesystem::copy_file(SF_MESSAGE_FILE, folder.path("shipped.messages"));
    EXPECT_EQ(messageFrom(folder.path(), "shipped", g_shippedId), builtinMessage());
}

TEST(MessageCatalog, AFileReplacesTheCompiledInText)
{
    const TemporaryFolder folder;
    folder.addFile("samplefold1.messages", R"({"%CannotLocateBinaryFile": "where is %1"})");
    EXPECT_EQ(messageFrom(folder.path(), "samplefold1", g_shippedId), "where is /bin/tool");
}

TEST(MessageCatalog, AFileWithoutAnIdLeavesTheCompiledInText)
{
    const TemporaryFolder folder;
    folder.addFile("samplefold1.messages", R"({"%Another": "text"})");
    EXPECT_EQ(messageFrom(folder.path(), "samplefold1", g_shippedId), builtinMessage());
}

TEST(MessageCatalog, LooksInTheFoldersNearTheProgram)
{
    const auto program = std::filesystem::read_symlink("/proc/self/exe").parent_path();
    const auto shared = program.parent_path() / "share/samplefold/messages";
    const auto beside = program / "messages";
    const std::string name = "near" + std::to_string(::getpid());
    const auto put = [&](const std::filesystem::path& folder, const char* text) {
        std::filesystem::create_directories(folder);
        std::ofstream(folder / (name + ".messages")) << R"({"%Id": ")" << text << R"("})";
    };
    put(beside, "beside");
    EXPECT_EQ(messageFrom("", name, "%Id"), "beside");
    put(shared, "shared");
    EXPECT_EQ(messageFrom("", name, "%Id"), "shared") << "it comes before the folder beside";
    std::filesystem::remove(shared / (name + ".messages"));
    std::filesystem::remove(beside / (name + ".messages"));
}

TEST(MessageCatalog, ANameThatIsAPathHasNoFile)
{
    const TemporaryFolder folder;
    folder.addFolder("in");
    folder.addFile("out.messages", R"({"%Id": "text"})");
    EXPECT_EQ(messageFrom(folder.path("in"), "../out", "%Id"), "%Id");
    EXPECT_EQ(messageFrom(folder.path(), "out", "%Id"), "text");
}

/// Files that are no catalogue, each under the name of one that has compiled-in texts.
class DamagedCatalog : public testing::TestWithParam<std::string> {};

TEST_P(DamagedCatalog, FallsBackToTheCompiledInTexts)
{
    const TemporaryFolder folder;
    folder.addFile("samplefold1.messages", GetParam());
    EXPECT_EQ(messageFrom(folder.path(), "samplefold1", g_shippedId), builtinMessage());
}

INSTANTIATE_TEST_SUITE_P(
    Contents, DamagedCatalog,
    testing::Values("", "not JSON", R"({"%CannotLocateBinaryFile": "cut of)",
                    R"(["%CannotLocateBinaryFile"])", R"({"%CannotLocateBinaryFile": 7})",
                    R"({"%CannotLocateBinaryFile": "half", "%Other": {}})",
                    R"({"%CannotLocateBinaryFile": "bad )" + std::string("\xff\"}"),
                    std::string(1 << 20, '['),
                    R"({"%CannotLocateBinaryFile": "long)" + std::string(1 << 20, 'g') + "\"}"));

TEST(MessageCatalog, DoesNotWaitForAPipeOrReadAFolder)
{
    const TemporaryFolder folder;
    folder.addFolder("a");
    folder.addFolder("b");
    folder.addFolder("b/samplefold1.messages");
    ASSERT_EQ(::mkfifo(folder.path("a/samplefold1.messages").c_str(), 0600), 0);
    EXPECT_EQ(messageFrom(folder.path("a"), "samplefold1", g_shippedId), builtinMessage());
    EXPECT_EQ(messageFrom(folder.path("b"), "samplefold1", g_shippedId), builtinMessage());
}

} // namespace
} // namespace optbook2
