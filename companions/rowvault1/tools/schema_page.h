#pragma once

#include <string>

/// The reference page of a result's tables and views in Markdown, from the schema registry.
std::string schemaPage();
