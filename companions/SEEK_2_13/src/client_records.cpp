#include "client_records.h"

#include <utility>

namespace SEEK_2_13 {
namespace {

/// All clients of the process that somebody holds.
struct clients_t {
    std::mutex lock;
    std::map<std::pair<std::string, std::string>, std::weak_ptr<ClientRecords>> records;
};

clients_t& clients()
{
    static clients_t all;
    return all;
}

} // namespace

std::shared_ptr<ClientRecords> ClientRecords::of(const std::string& directory,
                                                 const std::string& clientId)
{
    clients_t& all = clients();
    const std::lock_guard<std::mutex> held(all.lock);
    std::erase_if(all.records, [](const auto& entry) { return entry.second.expired(); });
    std::weak_ptr<ClientRecords>& place = all.records[{directory, clientId}];
    std::shared_ptr<ClientRecords> records = place.lock();
    if (!records) place = records = std::make_shared<ClientRecords>();
    return records;
}

void ClientRecords::storeFile(const std::string& name, std::vector<attempt_t> attempts)
{
    const std::lock_guard<std::mutex> held(m_lock);
    m_files[name] = std::move(attempts);
}

void ClientRecords::storeSymbols(const std::string& binaryPath, std::vector<attempt_t> attempts)
{
    const std::lock_guard<std::mutex> held(m_lock);
    m_symbols[binaryPath] = std::move(attempts);
}

std::vector<attempt_t> ClientRecords::ofFile(const std::string& name) const
{
    const std::lock_guard<std::mutex> held(m_lock);
    const auto found = m_files.find(name);
    return found != m_files.end() ? found->second : std::vector<attempt_t>();
}

std::vector<attempt_t> ClientRecords::ofSymbols(const std::string& binaryPath) const
{
    const std::lock_guard<std::mutex> held(m_lock);
    const auto found = m_symbols.find(binaryPath);
    return found != m_symbols.end() ? found->second : std::vector<attempt_t>();
}

} // namespace SEEK_2_13
