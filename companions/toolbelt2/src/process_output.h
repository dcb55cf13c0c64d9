#pragma once

#include "process_pipe.h"

#include <toolbelt2/process.h>

#include <boost/asio/steady_timer.hpp>

#include <array>
#include <chrono>
#include <memory>
#include <vector>

namespace toolbelt2::process {

/// Hands what comes through a child's pipes to their readers, within the limits. One thread.
class OutputReader {
public:
    OutputReader(boost::asio::io_context& context, const limits_t& limits)
        : m_context(context), m_timer(context), m_limits(limits)
    {
    }

    OutputPipe& add(const sptr_t<IPipeReaderCallback>& callback);

    /// Reads all pipes to their ends. Success, or why it stopped before: tookTooLong, wroteTooMuch,
    /// cannotRead, or the failure of a reader.
    error_code_t readAll(std::chrono::steady_clock::time_point deadline);

private:
    struct channel_t {
        channel_t(boost::asio::io_context& context, const sptr_t<IPipeReaderCallback>& reader)
            : pipe(context), callback(reader)
        {
        }
        OutputPipe pipe;
        sptr_t<IPipeReaderCallback> callback;
        std::array<char, 65536> buffer;
    };

    void readNext(channel_t& channel);
    void take(channel_t& channel, std::size_t size);
    void endOf(channel_t& channel);
    void stop(error_code_t outcome);

    boost::asio::io_context& m_context;
    boost::asio::steady_timer m_timer;
    limits_t m_limits;
    std::vector<std::unique_ptr<channel_t>> m_channels;
    std::size_t m_open = 0;
    std::size_t m_bytes = 0;
    error_code_t m_outcome;
};

} // namespace toolbelt2::process
