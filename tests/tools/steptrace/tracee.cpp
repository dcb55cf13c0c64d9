#include "tracee.h"

#include "failure.h"

#include <bit>
#include <cerrno>
#include <csignal>
#include <elf.h>
#include <fstream>
#include <sys/personality.h>
#include <sys/ptrace.h>
#include <sys/uio.h>
#include <sys/wait.h>
#include <unistd.h>

namespace steptrace {
namespace {

// How the child tells why it did not become the program.
constexpr int traceRefused = 126;
constexpr int programRefused = 127;

constexpr int systemCallStop = SIGTRAP | 0x80;
constexpr long breakpoint = 0xCC;

/// An address or a number as ptrace takes it.
void* word(std::uint64_t value)
{
    return std::bit_cast<void*>(value);
}

[[noreturn]] void becomeProgram(const std::vector<std::string>& command)
{
    std::vector<char*> words;
    words.reserve(command.size() + 1);
    for (const std::string& text : command)
        words.push_back(const_cast<char*>(text.c_str()));
    words.push_back(nullptr);
    char path[] = "PATH=/usr/bin:/bin";
    char language[] = "LANG=C";
    char* environment[] = {path, language, nullptr};
    personality(ADDR_NO_RANDOMIZE);
    if (ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) < 0) _exit(traceRefused);
    execve(words[0], words.data(), environment);
    _exit(programRefused);
}

} // namespace

Tracee::Tracee(const std::vector<std::string>& command)
{
    m_pid = fork();
    if (m_pid < 0) failWithErrno("fork");
    if (m_pid == 0) becomeProgram(command);
    start(command);
}

Tracee::~Tracee()
{
    if (m_pid <= 0) return;
    kill(m_pid, SIGKILL);
    waitpid(m_pid, nullptr, 0);
}

void Tracee::start(const std::vector<std::string>& command)
{
    int status = 0;
    if (waitpid(m_pid, &status, 0) < 0) failWithErrno("waitpid");
    if (!WIFSTOPPED(status)) {
        m_pid = 0;
        if (WIFEXITED(status) && WEXITSTATUS(status) == traceRefused)
            throw NotPermitted("tracing a process is not permitted here");
        throw Failure(command[0] + ": cannot be started");
    }
    if (ptrace(PTRACE_SETOPTIONS, m_pid, nullptr, word(PTRACE_O_EXITKILL)) < 0) {
        // A destructor does not run for an object that was never made.
        kill(m_pid, SIGKILL);
        waitpid(m_pid, nullptr, 0);
        throw NotPermitted("tracing a process is not permitted here");
    }
    readRegisters();
}

void Tracee::readRegisters()
{
    if (ptrace(PTRACE_GETREGS, m_pid, nullptr, &m_registers) < 0) failWithErrno("registers");
}

Tracee::Step Tracee::step()
{
    const auto signal = static_cast<std::uint64_t>(m_signal);
    m_signal = 0;
    if (ptrace(PTRACE_SINGLESTEP, m_pid, nullptr, word(signal)) < 0) failWithErrno("single step");
    int status = 0;
    if (waitpid(m_pid, &status, 0) < 0) failWithErrno("waitpid");
    if (!WIFSTOPPED(status)) {
        m_pid = 0;
        return Step::ended;
    }
    readRegisters();
    if (WSTOPSIG(status) == SIGTRAP) return Step::done;
    m_signal = WSTOPSIG(status);
    return Step::signalled;
}

std::uint64_t Tracee::entryPoint() const
{
    std::ifstream vector("/proc/" + std::to_string(m_pid) + "/auxv", std::ios::binary);
    std::uint64_t entry[2];
    while (vector.read(reinterpret_cast<char*>(entry), sizeof entry))
        if (entry[0] == AT_ENTRY) return entry[1];
    throw Failure("the program has no entry point");
}

void Tracee::runToEntryPoint(const std::function<void()>& atSystemCall)
{
    const std::uint64_t entry = entryPoint();
    errno = 0;
    const long code = ptrace(PTRACE_PEEKTEXT, m_pid, word(entry), nullptr);
    if (errno) failWithErrno("entry point");
    const auto patched = static_cast<std::uint64_t>((code & ~0xFFL) | breakpoint);
    ptrace(PTRACE_POKETEXT, m_pid, word(entry), word(patched));
    ptrace(PTRACE_SETOPTIONS, m_pid, nullptr, word(PTRACE_O_EXITKILL | PTRACE_O_TRACESYSGOOD));
    for (int status = 0; !WIFSTOPPED(status) || WSTOPSIG(status) != SIGTRAP;) {
        if (ptrace(PTRACE_SYSCALL, m_pid, nullptr, nullptr) < 0) failWithErrno("run");
        if (waitpid(m_pid, &status, 0) < 0) failWithErrno("waitpid");
        if (!WIFSTOPPED(status)) {
            m_pid = 0;
            throw Failure("the program ended before its entry point");
        }
        if (WSTOPSIG(status) == systemCallStop) atSystemCall();
    }
    ptrace(PTRACE_POKETEXT, m_pid, word(entry), word(static_cast<std::uint64_t>(code)));
    readRegisters();
    m_registers.rip = entry;
    if (ptrace(PTRACE_SETREGS, m_pid, nullptr, &m_registers) < 0) failWithErrno("registers");
}

bool Tracee::read(std::uint64_t address, void* bytes, std::size_t size) const
{
    iovec here{bytes, size};
    iovec there{word(address), size};
    return process_vm_readv(m_pid, &here, 1, &there, 1, 0) == static_cast<ssize_t>(size);
}

} // namespace steptrace
