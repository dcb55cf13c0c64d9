#pragma once

#include <string>

namespace rowvault1 {

class Connection;

/// Waits until the database file of a connection and its entry in its folder are on the disk. Empty
/// on success, else the reason. The file is synced through the connection: to open and close it a
/// second time would drop this process's locks on it.
std::string syncToDisk(Connection& connection, const std::string& path);

} // namespace rowvault1
