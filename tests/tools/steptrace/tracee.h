// A program under the tracer's control.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <sys/types.h>
#include <sys/user.h>
#include <vector>

namespace steptrace {

/// A child process with one thread, stopped whenever the tracer looks at it. It starts at a fixed
/// layout of memory with an environment of PATH and LANG alone, so that runs are the same. Killed
/// by the destructor.
class Tracee {
public:
    /// What became of an attempt to run one instruction.
    enum class Step { done, signalled, ended };

    /// Starts the program and stops it before its first instruction, which is the dynamic loader's
    /// when it has one. Throws NotPermitted where tracing is refused, Failure otherwise.
    explicit Tracee(const std::vector<std::string>& command);
    ~Tracee();
    Tracee(const Tracee&) = delete;
    Tracee& operator=(const Tracee&) = delete;

    [[nodiscard]] pid_t pid() const { return m_pid; }
    [[nodiscard]] const user_regs_struct& registers() const { return m_registers; }

    /// Runs one instruction. A signal that comes instead is delivered with the next step.
    Step step();

    /// Runs to the program's own entry point and calls `atSystemCall` before and after each system
    /// call on the way.
    void runToEntryPoint(const std::function<void()>& atSystemCall);

    /// Copies memory of the program; false when not all of it can be read.
    bool read(std::uint64_t address, void* bytes, std::size_t size) const;

private:
    void start(const std::vector<std::string>& command);
    void readRegisters();
    [[nodiscard]] std::uint64_t entryPoint() const;

    pid_t m_pid = 0;
    int m_signal = 0; ///< to deliver with the next step
    user_regs_struct m_registers{};
};

} // namespace steptrace
