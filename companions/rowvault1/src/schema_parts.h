#pragma once

#include <rowvault1/schema.h>

#include <span>

// The registry is written by topic; schema.cpp puts the topics together.
namespace rowvault1::schema {

std::span<const table_t> sampleTables();
std::span<const table_t> branchTables();
std::span<const table_t> codeTables();
std::span<const table_t> moduleTables();
std::span<const table_t> processTables();
std::span<const table_t> platformTables();
std::span<const table_t> topologyTables();
std::span<const table_t> loadTables();
std::span<const view_t> readableViews();
std::span<const view_t> branchViews();

} // namespace rowvault1::schema
