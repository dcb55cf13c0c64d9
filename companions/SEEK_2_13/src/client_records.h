#pragma once

#include <SEEK_2_13/file_search.h>

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace SEEK_2_13 {

/// What the searches of one client did. Any thread.
class ClientRecords {
public:
    /// Those of a client in a result directory: the same object as long as anybody holds it.
    static std::shared_ptr<ClientRecords> of(const std::string& directory,
                                             const std::string& clientId);

    void storeFile(const std::string& name, std::vector<attempt_t> attempts);
    void storeSymbols(const std::string& binaryPath, std::vector<attempt_t> attempts);
    std::vector<attempt_t> ofFile(const std::string& name) const;
    std::vector<attempt_t> ofSymbols(const std::string& binaryPath) const;

private:
    using Lists = std::map<std::string, std::vector<attempt_t>>;

    mutable std::mutex m_lock;
    Lists m_files;
    Lists m_symbols;
};

} // namespace SEEK_2_13
