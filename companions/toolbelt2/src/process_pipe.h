#pragma once

#include <boost/asio/io_context.hpp>
#include <boost/asio/posix/stream_descriptor.hpp>

#include <system_error>

namespace toolbelt2::process {

/// One pipe from a child. No other process that is started inherits its ends.
class OutputPipe {
public:
    /// Check isOpen: there may be no descriptors left.
    explicit OutputPipe(boost::asio::io_context& context);
    ~OutputPipe();
    OutputPipe(const OutputPipe&) = delete;
    OutputPipe& operator=(const OutputPipe&) = delete;

    bool isOpen() const { return m_source.is_open(); }
    int sink() const { return m_sink; }
    boost::asio::posix::stream_descriptor& source() { return m_source; }
    /// To be called once the child has its copy; the output does not end before.
    void closeSink();

private:
    boost::asio::posix::stream_descriptor m_source;
    int m_sink = -1;
};

} // namespace toolbelt2::process
