#include "file_sync.h"

#include "connection.h"

#include <sqlite3.h>

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>

namespace rowvault1 {
namespace {

std::string syncFolder(const std::string& path)
{
    const int folder = ::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (folder < 0) return std::strerror(errno);
    const bool synced = ::fsync(folder) == 0;
    const int error = errno;
    ::close(folder);
    return synced ? std::string() : std::string(std::strerror(error));
}

} // namespace

std::string syncToDisk(Connection& connection, const std::string& path)
{
    sqlite3_file* file = nullptr;
    const int code =
        sqlite3_file_control(connection.get(), "main", SQLITE_FCNTL_FILE_POINTER, &file);
    if (code != SQLITE_OK || file == nullptr || file->pMethods == nullptr)
        return sqlite3_errstr(code);
    if (const int synced = file->pMethods->xSync(file, SQLITE_SYNC_FULL); synced != SQLITE_OK)
        return sqlite3_errstr(synced);
    const std::string folder = std::filesystem::path(path).parent_path().string();
    return syncFolder(folder.empty() ? "." : folder);
}

} // namespace rowvault1
