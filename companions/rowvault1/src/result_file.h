#pragma once

#include <rowvault1/result.h>

#include <string>

namespace rowvault1 {

class Connection;

inline constexpr const char* resultFileName = "result.sqlite";

/// Opens the database of a result at `path`, made anew for open_mode_t::create, and proves that it
/// is one: identity, schema version, and the definition of every table and view. Throws StoreError.
void openResultFile(Connection& connection, const std::string& path, open_mode_t mode,
                    const result_options_t& options);

/// Makes the folder with its missing parents. Throws StoreError.
void makeResultFolder(const std::string& folder);

/// The definition of an object of that type and name, empty when the database has none.
std::string definitionOf(Connection& connection, const char* type, std::string_view name);
/// True when the database has an object of that type and name with that very definition.
bool hasDefinition(Connection& connection, const char* type, std::string_view name,
                   const std::string& definition);

} // namespace rowvault1
