#include "process_output.h"

#include <boost/asio/buffer.hpp>
#include <boost/asio/error.hpp>

#include <algorithm>

namespace toolbelt2::process {

OutputPipe& OutputReader::add(const sptr_t<IPipeReaderCallback>& callback)
{
    m_channels.push_back(std::make_unique<channel_t>(m_context, callback));
    return m_channels.back()->pipe;
}

error_code_t OutputReader::readAll(std::chrono::steady_clock::time_point deadline)
{
    if (m_channels.empty()) return {};
    m_open = m_channels.size();
    m_timer.expires_at(deadline);
    m_timer.async_wait([this](const boost::system::error_code& failure) {
        if (!failure) stop(error_code_t(error::tookTooLong));
    });
    for (const std::unique_ptr<channel_t>& channel : m_channels)
        readNext(*channel);
    m_context.run();
    return m_outcome;
}

void OutputReader::readNext(channel_t& channel)
{
    channel.pipe.source().async_read_some(
        boost::asio::buffer(channel.buffer),
        [this, &channel](const boost::system::error_code& failure, std::size_t size) {
            if (!failure) {
                take(channel, size);
            } else if (failure == boost::asio::error::eof) {
                endOf(channel);
            } else {
                stop(error_code_t(error::cannotRead));
            }
        });
}

void OutputReader::take(channel_t& channel, std::size_t size)
{
    const std::size_t wanted = std::min(size, m_limits.bytes - m_bytes);
    m_bytes += wanted;
    if (wanted != 0) {
        const error_code_t taken =
            channel.callback->onRead(channel.buffer.data(), static_cast<std::int32_t>(wanted));
        if (!taken.succeeded()) return stop(taken);
    }
    if (wanted < size) return stop(error_code_t(error::wroteTooMuch));
    readNext(channel);
}

void OutputReader::endOf(channel_t& channel)
{
    channel.pipe.source().close();
    if (--m_open == 0) m_timer.cancel();
}

void OutputReader::stop(error_code_t outcome)
{
    m_outcome = outcome;
    m_context.stop();
}

} // namespace toolbelt2::process
