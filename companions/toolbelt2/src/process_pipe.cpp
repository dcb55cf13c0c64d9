#include "process_pipe.h"

#include <fcntl.h>
#include <unistd.h>

#include <utility>

namespace toolbelt2::process {

OutputPipe::OutputPipe(boost::asio::io_context& context) : m_source(context)
{
    int ends[2] = {-1, -1};
    if (::pipe2(ends, O_CLOEXEC) != 0) return;
    m_sink = ends[1];
    boost::system::error_code failure;
    m_source.assign(ends[0], failure);
    if (failure) ::close(ends[0]);
}

OutputPipe::~OutputPipe()
{
    closeSink();
}

void OutputPipe::closeSink()
{
    if (m_sink >= 0) ::close(std::exchange(m_sink, -1));
}

} // namespace toolbelt2::process
