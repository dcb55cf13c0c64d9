#include <logbridge_1/log.h>

#include <gtest/gtest.h>
#include <log4cplus/logger.h>
#include <log4cplus/loggingmacros.h>

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

namespace fs = std::filesystem;
using logbridge_1::log::configureComponentLogger;
using logbridge_1::log::logToFile;

constexpr int g_debug = 10000;
constexpr int g_info = 20000;
constexpr int g_error = 40000;

log4cplus::Logger loggerOf(const std::string& component)
{
    return log4cplus::Logger::getInstance(component);
}

/// The shape of a line whose time is not known.
std::string withZerosForDigits(std::string line)
{
    const auto isDigit = [](char letter) { return letter >= '0' && letter <= '9'; };
    std::replace_if(line.begin(), line.end(), isDigit, '0');
    return line;
}

/// A folder of its own per test, and a component that no other test uses.
class ComponentLog : public testing::Test {
protected:
    ComponentLog()
    {
        const auto* const test = testing::UnitTest::GetInstance()->current_test_info();
        m_component = test->name();
        m_folder = fs::temp_directory_path() /
                   ("logbridge-" + std::to_string(::getpid()) + "-" + m_component);
        fs::create_directories(m_folder);
    }
    ~ComponentLog() override
    {
        loggerOf(m_component).removeAllAppenders();
        fs::remove_all(m_folder);
    }

    std::string path(const std::string& name) const { return (m_folder / name).string(); }

    std::vector<std::string> linesOf(const std::string& name) const
    {
        std::ifstream file(path(name));
        std::vector<std::string> out;
        for (std::string line; std::getline(file, line);)
            out.push_back(line);
        return out;
    }

    std::string m_component;
    fs::path m_folder;
};

TEST_F(ComponentLog, aComponentStartsAtTheErrorLevel)
{
    configureComponentLogger(m_component);
    const auto logger = loggerOf(m_component);
    EXPECT_EQ(logger.getLogLevel(), g_error);
    EXPECT_TRUE(logger.isEnabledFor(g_error));
    EXPECT_FALSE(logger.isEnabledFor(g_error - 1));
    EXPECT_FALSE(logger.isEnabledFor(g_debug));
}

TEST_F(ComponentLog, aComponentHasNoOutputUntilSomebodyAsksForOne)
{
    configureComponentLogger(m_component);
    testing::internal::CaptureStderr();
    testing::internal::CaptureStdout();
    loggerOf(m_component).forcedLog(g_error, "unheard");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST_F(ComponentLog, aSecondConfigurationChangesNothing)
{
    configureComponentLogger(m_component);
    loggerOf(m_component).setLogLevel(g_debug);
    configureComponentLogger(m_component);
    EXPECT_EQ(loggerOf(m_component).getLogLevel(), g_debug);
    EXPECT_EQ(loggerOf(m_component).getAllAppenders().size(), 1U);
}

TEST_F(ComponentLog, oneLinePerMessageGoesToTheFileWithTimeAndLevel)
{
    ASSERT_TRUE(logToFile(m_component, path("a.log"), g_debug));
    loggerOf(m_component).forcedLog(g_error, "cannot open");
    loggerOf(m_component).forcedLog(g_debug, "details");
    const auto lines = linesOf("a.log");
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_EQ(withZerosForDigits(lines[0]), "0000-00-00 00:00:00.000 ERROR cannot open");
    EXPECT_EQ(withZerosForDigits(lines[1]), "0000-00-00 00:00:00.000 DEBUG details");
}

TEST_F(ComponentLog, onlyTheAskedLevelAndAboveIsLogged)
{
    ASSERT_TRUE(logToFile(m_component, path("a.log"), g_info));
    const auto logger = loggerOf(m_component);
    LOG4CPLUS_DEBUG(logger, "too fine");
    LOG4CPLUS_INFO(logger, "just right");
    LOG4CPLUS_ERROR(logger, "coarse");
    const auto lines = linesOf("a.log");
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_NE(lines[0].find("just right"), std::string::npos);
    EXPECT_NE(lines[1].find("coarse"), std::string::npos);
}

TEST_F(ComponentLog, linesAreAddedToTheEndOfAFileThatIsThere)
{
    std::ofstream(path("a.log")) << "from before\n";
    ASSERT_TRUE(logToFile(m_component, path("a.log"), g_error));
    loggerOf(m_component).forcedLog(g_error, "new");
    const auto lines = linesOf("a.log");
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_EQ(lines[0], "from before");
}

TEST_F(ComponentLog, aSecondFileReplacesTheFirst)
{
    ASSERT_TRUE(logToFile(m_component, path("a.log"), g_error));
    loggerOf(m_component).forcedLog(g_error, "one");
    ASSERT_TRUE(logToFile(m_component, path("b.log"), g_debug));
    loggerOf(m_component).forcedLog(g_error, "two");
    EXPECT_EQ(linesOf("a.log").size(), 1U);
    EXPECT_EQ(linesOf("b.log").size(), 1U);
    EXPECT_EQ(loggerOf(m_component).getLogLevel(), g_debug);
}

TEST_F(ComponentLog, aFileThatCannotBeOpenedGivesFalse)
{
    testing::internal::CaptureStderr();
    EXPECT_FALSE(logToFile(m_component, path("no/such/folder/a.log"), g_debug));
    EXPECT_FALSE(logToFile(m_component, m_folder.string(), g_debug));
    EXPECT_FALSE(logToFile(m_component, "", g_debug));
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST_F(ComponentLog, aFileThatCannotBeOpenedChangesNothing)
{
    ASSERT_TRUE(logToFile(m_component, path("a.log"), g_info));
    EXPECT_FALSE(logToFile(m_component, path("no/such/folder/a.log"), g_debug));
    EXPECT_EQ(loggerOf(m_component).getLogLevel(), g_info);
    loggerOf(m_component).forcedLog(g_error, "still here");
    EXPECT_EQ(linesOf("a.log").size(), 1U);
}

TEST_F(ComponentLog, componentsDoNotHearEachOther)
{
    const std::string other = m_component + ".inner";
    configureComponentLogger(other);
    ASSERT_TRUE(logToFile(m_component, path("a.log"), g_debug));
    loggerOf(other).forcedLog(g_error, "of the other");
    EXPECT_EQ(linesOf("a.log").size(), 0U);
    EXPECT_EQ(loggerOf(other).getLogLevel(), g_error);
}

TEST_F(ComponentLog, manyThreadsMayConfigureOneComponentAtOnce)
{
    std::atomic<bool> go{false};
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i)
        threads.emplace_back([&] {
            while (!go)
                std::this_thread::yield();
            configureComponentLogger(m_component);
        });
    go = true;
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(loggerOf(m_component).getAllAppenders().size(), 1U);
}

} // namespace
