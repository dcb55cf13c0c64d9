#include <toolbelt2/path.h>

#include <boost/filesystem.hpp>

namespace toolbelt2 {

namespace fs = boost::filesystem;

bool path_t::append(std::string_view element)
{
    if (element.empty() || element.front() == '/') return false;
    m_path = (fs::path(m_path) / fs::path(element.begin(), element.end())).string();
    return true;
}

std::string path_t::leaf() const
{
    const std::size_t slash = m_path.rfind('/');
    return slash == std::string::npos ? m_path : m_path.substr(slash + 1);
}

bool path_t::exists() const noexcept
{
    boost::system::error_code error;
    return fs::exists(fs::path(m_path), error);
}

bool path_t::is_directory() const noexcept
{
    boost::system::error_code error;
    return fs::is_directory(fs::path(m_path), error);
}

} // namespace toolbelt2
