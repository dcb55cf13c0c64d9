#include "topology/pci_access.h"

#include <cstdarg>
#include <cstdio>

namespace samplefold::topology {
namespace {

// libpci hands its callbacks no user data.
thread_local std::jmp_buf g_target;
thread_local char g_problem[512];

extern "C" [[noreturn]] void fail(char* format, ...)
{
    std::va_list values;
    va_start(values, format);
    std::vsnprintf(g_problem, sizeof g_problem, format, values);
    va_end(values);
    std::longjmp(g_target, 1);
}

extern "C" void ignore(char*, ...) {}

} // namespace

PciAccess::PciAccess() : m_access(pci_alloc())
{
    m_access->error = fail;
    m_access->warning = ignore;
    m_access->debug = ignore;
    g_problem[0] = '\0';
}

PciAccess::~PciAccess()
{
    pci_cleanup(m_access);
}

std::jmp_buf& PciAccess::jumpTarget()
{
    return g_target;
}

std::string PciAccess::problem() const
{
    const std::string text = g_problem;
    return text.substr(0, text.find('\n'));
}

} // namespace samplefold::topology
