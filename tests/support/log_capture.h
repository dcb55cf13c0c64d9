#pragma once

#include <log4cplus/appender.h>
#include <log4cplus/logger.h>
#include <log4cplus/spi/loggingevent.h>
#include <logbridge_1/log.h>

#include <string>
#include <vector>

namespace samplefold_test {

/// Collects what the component "samplefold" logs while it lives.
class LogCapture {
public:
    struct entry_t {
        int level;
        std::string text;
    };

    explicit LogCapture(int level = log4cplus::ERROR_LOG_LEVEL) : m_appender(new Appender)
    {
        logbridge_1::log::configureComponentLogger("samplefold");
        m_logger = log4cplus::Logger::getInstance("samplefold");
        m_formerLevel = m_logger.getLogLevel();
        m_logger.setLogLevel(level);
        m_logger.addAppender(m_appender);
    }
    ~LogCapture()
    {
        m_logger.removeAppender(m_appender);
        m_logger.setLogLevel(m_formerLevel);
    }
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    const std::vector<entry_t>& entries() const
    {
        return static_cast<const Appender&>(*m_appender).entries;
    }

private:
    class Appender : public log4cplus::Appender {
    public:
        ~Appender() override { destructorImpl(); }
        void close() override { closed = true; }
        std::vector<entry_t> entries;

    protected:
        void append(const log4cplus::spi::InternalLoggingEvent& event) override
        {
            entries.push_back({event.getLogLevel(), event.getMessage()});
        }
    };

    log4cplus::SharedAppenderPtr m_appender;
    log4cplus::Logger m_logger;
    int m_formerLevel = 0;
};

} // namespace samplefold_test
