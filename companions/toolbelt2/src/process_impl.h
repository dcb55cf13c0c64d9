#pragma once

#include "process_output.h"

#include <toolbelt2/process.h>

#include <boost/process/child.hpp>
#include <boost/process/group.hpp>

#include <optional>

namespace toolbelt2::process {

class ProcessImpl : public IProcess {
public:
    explicit ProcessImpl(const limits_t& limits) : m_limits(limits) {}
    /// Stops the child where it was not joined.
    ~ProcessImpl() override;

    error_code_t setPipeReader(int stream, const sptr_t<IPipeReaderCallback>& callback) override;
    void setLimits(const limits_t& limits) override { m_limits = limits; }
    error_code_t start(const std::string& tool, const arguments_t& arguments,
                       const environment_t* environment, const std::string& directory, int window,
                       int priority, int group) override;
    error_code_t join() override;

private:
    std::string refusal(const std::string& tool, const std::string& directory) const;
    std::string launch(const arguments_t& arguments, const environment_t* environment);
    error_code_t joinChild();
    error_code_t waitForEnd();
    bool hasEnded();
    error_code_t exitOutcome() const;
    void stopAll() noexcept;
    error_code_t failure(std::int32_t code, const std::string& text) const;
    error_code_t stopped(error_code_t reason) const;

    limits_t m_limits;
    sptr_t<IPipeReaderCallback> m_readers[2]; ///< of standard output and standard error
    std::string m_path;                       ///< of the tool; empty until it is started
    std::chrono::steady_clock::time_point m_deadline;
    boost::asio::io_context m_context;
    std::optional<OutputReader> m_output;
    boost::process::group m_group;
    boost::process::child m_child;
    bool m_running = false;
    int m_status = 0;                      ///< of the child that has ended, as waitpid gives it
    bool m_statusLost = false;             ///< somebody else has taken it
    std::optional<error_code_t> m_outcome; ///< once it is known how it went
};

} // namespace toolbelt2::process
