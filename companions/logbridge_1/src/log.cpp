#include <logbridge_1/log.h>

#include <log4cplus/fileappender.h>
#include <log4cplus/initializer.h>
#include <log4cplus/layout.h>
#include <log4cplus/logger.h>
#include <log4cplus/nullappender.h>

#include <cstddef>
#include <fstream>
#include <memory>
#include <mutex>
#include <new>
#include <set>
#include <string>

namespace logbridge_1::log {
namespace {

std::mutex g_mutex;

void startLog4cplus()
{
    // Kept until the process ends: loggers are used from static objects of any library. Built in
    // place, so that there is a count that nobody gives back but no memory that nobody points to.
    alignas(log4cplus::Initializer) static std::byte room[sizeof(log4cplus::Initializer)];
    static const auto* const initializer = new (room) log4cplus::Initializer;
    static_cast<void>(initializer);
}

/// Components that have been configured, by name.
std::set<std::string, std::less<>>& configured()
{
    static auto* const names = new std::set<std::string, std::less<>>;
    return *names;
}

/// Tried before the appender is made: one whose file does not open stays "not closed" and writes a
/// message of its own to standard error. Leaves an empty file where there was none.
bool canAppendTo(std::string_view path)
{
    return std::ofstream(std::string(path), std::ios_base::app).is_open();
}

} // namespace

void configureComponentLogger(std::string_view component)
{
    const std::lock_guard lock(g_mutex);
    if (!configured().emplace(component).second) return;
    startLog4cplus();
    auto logger = log4cplus::Logger::getInstance(log4cplus::tstring(component));
    logger.setAdditivity(false);
    logger.setLogLevel(log4cplus::ERROR_LOG_LEVEL);
    logger.addAppender(log4cplus::SharedAppenderPtr(new log4cplus::NullAppender));
}

bool logToFile(std::string_view component, std::string_view path, int level)
{
    if (!canAppendTo(path)) return false;
    configureComponentLogger(component);
    const std::lock_guard lock(g_mutex);
    log4cplus::SharedFileAppenderPtr appender(
        new log4cplus::FileAppender(log4cplus::tstring(path), std::ios_base::app));
    appender->setLayout(
        std::make_unique<log4cplus::PatternLayout>("%D{%Y-%m-%d %H:%M:%S.%q} %p %m%n"));
    auto logger = log4cplus::Logger::getInstance(log4cplus::tstring(component));
    logger.removeAllAppenders();
    logger.setLogLevel(level);
    logger.addAppender(log4cplus::SharedAppenderPtr(appender.get()));
    return true;
}

} // namespace logbridge_1::log
