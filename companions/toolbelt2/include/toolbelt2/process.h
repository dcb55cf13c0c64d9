#pragma once

#include <toolbelt2/error_code.h>
#include <toolbelt2/export.h>
#include <toolbelt2/object.h>
#include <toolbelt2/sptr.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

// Child processes whose output is read. A child that never ends, or that writes without end, is
// stopped at a limit.
namespace toolbelt2::process {

/// Values of failures.
namespace error {
inline constexpr std::int32_t wrongUse = 1;     ///< the call does not fit the state, or no callback
inline constexpr std::int32_t cannotStart = 2;  ///< no such tool, not executable, no resources
inline constexpr std::int32_t childFailed = 3;  ///< exit status other than 0, or ended by a signal
inline constexpr std::int32_t tookTooLong = 4;  ///< stopped at the limit of time
inline constexpr std::int32_t wroteTooMuch = 5; ///< stopped at the limit of bytes
inline constexpr std::int32_t cannotRead = 6;   ///< the pipe broke
} // namespace error

/// What a child may use before it is stopped.
struct limits_t {
    std::chrono::milliseconds time{10'000};    ///< from the start to the end
    std::size_t bytes = std::size_t{16} << 20; ///< output that readers are given, all together
};

/// Sets the limits of processes that are created from now on, and returns those before. Any thread.
TOOLBELT2_API limits_t setDefaultLimits(const limits_t& limits);

/// Receives what a child writes.
class TOOLBELT2_API IPipeReaderCallback : public object_interface_t {
public:
    /// The next `size` bytes of the output, cut anywhere; `buffer` is good for this call alone. A
    /// failure stops the child, and join returns it.
    virtual error_code_t onRead(const char* buffer, std::int32_t size) = 0;
};

using arguments_t = std::vector<std::string>;
using environment_t = std::map<std::string, std::string>;

/// One child process: set it up, start it, join it. One thread. Every failure is also raised
/// (error_code_t::raise) with a line that names the tool.
class TOOLBELT2_API IProcess : public object_interface_t {
public:
    /// A process that is not started yet, with the limits in force. Never null.
    static sptr_t<IProcess> create();

    /// Registers the reader of standard output (`stream` 1) or standard error (2), in place of one
    /// before. Without a reader the child shares the stream of this process. Fails for other
    /// streams, for a null callback, and after the start.
    virtual error_code_t setPipeReader(int stream, const sptr_t<IPipeReaderCallback>& callback) = 0;
    /// Limits of this process. To be set before the start.
    virtual void setLimits(const limits_t& limits) = 0;

    /// Starts the file `tool` of `directory` as leader of a process group of its own, with empty
    /// standard input, in the current directory. `tool` is the name of a file without a folder; it
    /// is looked for in `directory` alone. A null environment stands for this process's own. The
    /// last three arguments are taken and not used. Fails when the child cannot be started, and on
    /// a second call.
    virtual error_code_t start(const std::string& tool, const arguments_t& arguments,
                               const environment_t* environment, const std::string& directory,
                               int window, int priority, int group) = 0;

    /// Reads until the child's output ends, gives it to the readers on this thread, and waits for
    /// the child's end. Success when the child ended with status 0 within the limits; the failure
    /// of start when it was not started. All reader calls have been made on return, and no process
    /// of the child's group that holds its output is left. A second call returns the first result.
    virtual error_code_t join() = 0;
};

} // namespace toolbelt2::process
