#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <string_view>

namespace samplefold_test {

/// A folder of its own under the system's folder for temporary files, removed with all it holds.
class TemporaryFolder {
public:
    TemporaryFolder()
    {
        std::string pattern = (std::filesystem::temp_directory_path() / "sf_XXXXXX").string();
        if (::mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("no temporary folder");
        m_path = pattern;
    }
    ~TemporaryFolder()
    {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    std::string path(std::string_view name = {}) const { return (m_path / name).string(); }
    std::string addFolder(std::string_view name) const
    {
        std::filesystem::create_directory(m_path / name);
        return path(name);
    }
    std::string addFile(std::string_view name, std::string_view content) const
    {
        std::ofstream(m_path / name, std::ios::binary) << content;
        return path(name);
    }

private:
    std::filesystem::path m_path;
};

} // namespace samplefold_test
