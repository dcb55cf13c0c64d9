#pragma once

#include <rowvault1/result.h>

#include <nlohmann/json.hpp>

#include <ostream>

namespace samplefold::report {

/// The topology of a result as a tree: packages, their IO units with mesh stops, channels, and PCI
/// functions with what their links can do and do; then the links between packages. Throws
/// rowvault1::StoreError, and ReportError when the result has no topology.
void writeTopology(rowvault1::IResult& result, std::ostream& out);

/// The same as one JSON object with the key "packages", an array; a package has "name", "units" and
/// "links". What is not known is null.
nlohmann::ordered_json topologyToJson(rowvault1::IResult& result);

} // namespace samplefold::report
