#pragma once

#include <rowvault1/result.h>

#include <nlohmann/json.hpp>

#include <optional>
#include <ostream>

namespace samplefold::report {

/// The topology of a result as a tree: packages, their IO units with mesh stops, channels, and PCI
/// functions with what their links can do and do; then mesh stops and the links between packages.
/// Under each stands what uncore events counted there, in all and by second, and with `interval`
/// (in seconds) for each interval of the run. Values that were left out as implausible are told by
/// their number. Throws rowvault1::StoreError, and ReportError when the result has neither a
/// topology nor uncore events, and for intervals of a result without times.
void writeTopology(rowvault1::IResult& result, std::ostream& out,
                   std::optional<double> interval = {});

/// The same as one JSON object with the key "packages", an array. A package has "name", "units",
/// "mesh_stops", "links" and "other_counts"; what counts have "count", "per_second" and
/// "intervals". What is not known is null.
nlohmann::ordered_json topologyToJson(rowvault1::IResult& result,
                                      std::optional<double> interval = {});

} // namespace samplefold::report
