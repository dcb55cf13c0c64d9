#include "common/component_log.h"

#include <PORTA_2_18/assert.h>
#include <logbridge_1/log.h>
#include <toolbelt2/argument_resolver.h>
#include <toolbelt2/environment.h>

#include <string>
#include <string_view>

namespace samplefold_1 {
namespace {

constexpr std::string_view g_component = "samplefold";

log4cplus::Logger componentLogger()
{
    logbridge_1::log::configureComponentLogger(g_component);
    return log4cplus::Logger::getInstance(log4cplus::tstring(g_component));
}

} // namespace

ComponentLog::ComponentLog() : m_logger(componentLogger()) {}

void ComponentLog::debug(const std::string& text, const char* file, int line,
                         const char* signature) const
{
    if (isDebugEnabled()) m_logger.forcedLog(debugLevel, text, file, line, signature);
}

void ComponentLog::error(const std::string& text, const char* file, int line,
                         const char* signature) const
{
    if (!m_logger.isEnabledFor(errorLevel)) return;
    m_logger.forcedLog(errorLevel, text + ", at file: " + file + ":" + std::to_string(line), file,
                       line, signature);
}

void ComponentLog::checkedFailure(const char* expression, const char* file, int line,
                                  const char* signature)
{
    error(tb2::internal::argument_resolver_t(expression).resolve(), file, line, signature);
    if (assertionWanted()) {
        PORTA_2_18::debug::_private::____________________ASSERT____________________(
            expression, file, line, signature);
    }
}

bool ComponentLog::assertionWanted()
{
    if (m_assertion == wanted_t::notRead) {
        const std::string variable = m_logger.getName() + "_ERROR_HANDLING";
        const std::string value = tb2::get_environ_value(variable.c_str());
        m_assertion = value.find("assert") != std::string::npos ? wanted_t::yes : wanted_t::no;
    }
    return m_assertion == wanted_t::yes;
}

} // namespace samplefold_1
