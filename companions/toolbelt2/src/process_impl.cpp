#include "process_impl.h"

#include <boost/process/args.hpp>
#include <boost/process/env.hpp>
#include <boost/process/environment.hpp>
#include <boost/process/error.hpp>
#include <boost/process/exe.hpp>
#include <boost/process/io.hpp>
#include <boost/process/posix.hpp>

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <mutex>
#include <thread>
#include <utility>

namespace toolbelt2::process {

namespace bp = boost::process;

namespace {

/// How often a child is asked whether it has ended, once its output has: between these two.
constexpr std::chrono::microseconds g_shortestPause{100};
constexpr std::chrono::microseconds g_longestPause{10'000};

std::mutex g_limitsMutex;
limits_t g_limits;

limits_t defaultLimits()
{
    const std::lock_guard lock(g_limitsMutex);
    return g_limits;
}

bp::environment environmentOf(const environment_t* given)
{
    if (given == nullptr) return boost::this_process::environment();
    bp::environment own;
    for (const auto& [name, value] : *given)
        own[name] = value;
    return own;
}

} // namespace

limits_t setDefaultLimits(const limits_t& limits)
{
    const std::lock_guard lock(g_limitsMutex);
    return std::exchange(g_limits, limits);
}

sptr_t<IProcess> IProcess::create()
{
    return make_counted<ProcessImpl>(defaultLimits());
}

ProcessImpl::~ProcessImpl()
{
    stopAll();
}

error_code_t ProcessImpl::setPipeReader(int stream, const sptr_t<IPipeReaderCallback>& callback)
{
    if ((stream != STDOUT_FILENO && stream != STDERR_FILENO) || callback.is_null() ||
        !m_path.empty())
        return failure(error::wrongUse, "no reader can be set for stream " +
                                            std::to_string(stream) + " of a process");
    m_readers[stream - STDOUT_FILENO] = callback;
    return {};
}

error_code_t ProcessImpl::start(const std::string& tool, const arguments_t& arguments,
                                const environment_t* environment, const std::string& directory,
                                int /*window*/, int /*priority*/, int /*group*/)
{
    if (!m_path.empty()) return failure(error::wrongUse, "is started already");
    m_path = (std::filesystem::path(directory) / tool).string();
    std::string reason = refusal(tool, directory);
    if (reason.empty()) reason = launch(arguments, environment);
    if (reason.empty()) return {};
    m_output.reset();
    m_outcome = failure(error::cannotStart, "cannot be started: " + reason);
    return *m_outcome;
}

/// Why the file is none that can be started; empty when it may be.
std::string ProcessImpl::refusal(const std::string& tool, const std::string& directory) const
{
    if (tool.empty() || tool.find('/') != std::string::npos || tool.find('\0') != std::string::npos)
        return "a tool is named by its file alone";
    if (directory.empty()) return "no directory of tools is given";
    std::error_code unknown;
    const auto status = std::filesystem::status(m_path, unknown);
    if (!std::filesystem::exists(status)) return "there is no such file";
    if (!std::filesystem::is_regular_file(status)) return "it is no file";
    if (::access(m_path.c_str(), X_OK) != 0) return "it is not executable";
    return {};
}

/// Starts the child; empty, or why that did not work.
std::string ProcessImpl::launch(const arguments_t& arguments, const environment_t* environment)
{
    m_output.emplace(m_context, m_limits);
    int sinks[2] = {STDOUT_FILENO, STDERR_FILENO};
    std::vector<OutputPipe*> pipes;
    for (int index = 0; index < 2; ++index) {
        if (m_readers[index].is_null()) continue;
        pipes.push_back(&m_output->add(m_readers[index]));
        if (!pipes.back()->isOpen()) return "no pipe can be made for its output";
        sinks[index] = pipes.back()->sink();
    }
    m_deadline = std::chrono::steady_clock::now() + m_limits.time;
    std::error_code error;
    m_child = bp::child(bp::exe = m_path, bp::args = arguments, environmentOf(environment),
                        bp::std_in < bp::null, bp::posix::fd.bind(STDOUT_FILENO, sinks[0]),
                        bp::posix::fd.bind(STDERR_FILENO, sinks[1]), m_group, error);
    if (error) return error.message();
    m_running = true;
    for (OutputPipe* const pipe : pipes)
        pipe->closeSink();
    return {};
}

error_code_t ProcessImpl::join()
{
    if (!m_outcome) m_outcome = m_running ? joinChild() : error_code_t(error::wrongUse);
    return *m_outcome;
}

error_code_t ProcessImpl::joinChild()
{
    error_code_t outcome = m_output->readAll(m_deadline);
    if (outcome.succeeded()) outcome = waitForEnd();
    const bool wasStopped = m_running;
    stopAll();
    m_output.reset();
    return wasStopped ? stopped(outcome) : exitOutcome();
}

/// Waits for the end of a child that has closed its output. There is no call that waits for one
/// process with a limit of time and leaves the program's signals alone on every kernel.
error_code_t ProcessImpl::waitForEnd()
{
    std::chrono::microseconds pause = g_shortestPause;
    while (!hasEnded()) {
        if (std::chrono::steady_clock::now() >= m_deadline) return error_code_t(error::tookTooLong);
        std::this_thread::sleep_for(pause);
        pause = std::min(pause * 2, g_longestPause);
    }
    m_child.detach(); // there is nobody left to wait for
    m_running = false;
    return {};
}

/// The child's own handle takes one that is not there any more for one that ended well.
bool ProcessImpl::hasEnded()
{
    const pid_t ended = ::waitpid(m_child.id(), &m_status, WNOHANG);
    m_statusLost = ended < 0 && errno == ECHILD;
    return m_statusLost || ended == m_child.id();
}

error_code_t ProcessImpl::exitOutcome() const
{
    if (m_statusLost)
        return failure(error::childFailed,
                       "ended, and its status is lost: SIGCHLD is ignored or handled elsewhere");
    if (WIFSIGNALED(m_status))
        return failure(error::childFailed,
                       "was ended by signal " + std::to_string(WTERMSIG(m_status)));
    if (WEXITSTATUS(m_status) != 0)
        return failure(error::childFailed,
                       "ended with status " + std::to_string(WEXITSTATUS(m_status)));
    return {};
}

/// Ends the child's whole group, so that nobody is left who writes into the pipe, and takes leave
/// of the child.
void ProcessImpl::stopAll() noexcept
{
    if (!m_running) return;
    m_running = false;
    std::error_code gone;
    m_group.terminate(gone);
    m_child.wait(gone);
}

error_code_t ProcessImpl::stopped(error_code_t reason) const
{
    switch (reason.value()) {
    case error::tookTooLong:
        return failure(error::tookTooLong, "was stopped, as it took more than " +
                                               std::to_string(m_limits.time.count()) + " ms");
    case error::wroteTooMuch:
        return failure(error::wroteTooMuch, "was stopped, as it wrote more than " +
                                                std::to_string(m_limits.bytes) + " bytes");
    default:
        return failure(reason.value(), "was stopped, as its output could not be taken");
    }
}

error_code_t ProcessImpl::failure(std::int32_t code, const std::string& text) const
{
    return error_code_t::raise(code, m_path.empty() ? text : m_path + ": " + text, __FILE__,
                               __LINE__);
}

} // namespace toolbelt2::process
