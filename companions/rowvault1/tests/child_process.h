#pragma once

#include <csignal>
#include <exception>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

/// Runs `body` in a process of its own; its result is the exit status of that process, 98 for an
/// exception, -1 for a crash.
template <class Body>
int inChild(const Body& body)
{
    const pid_t child = fork();
    if (child == 0) {
        int status = 99;
        try {
            status = body();
        } catch (const std::exception&) {
            status = 98;
        }
        _exit(status);
    }
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

/// Lets writes of this process fail beyond a size, as a full disk does.
inline void limitFileSize(rlim_t bytes)
{
    std::signal(SIGXFSZ, SIG_IGN);
    const rlimit limit{bytes, bytes};
    setrlimit(RLIMIT_FSIZE, &limit);
}
