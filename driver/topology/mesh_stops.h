#pragma once

#include <stdexcept>
#include <string>
#include <vector>

namespace samplefold::topology {

/// An IO unit hangs off a stop of the on-chip mesh.
struct MeshStop {
    int package = 0;
    int unit = 0;
    int tid = 0; ///< number by which events name the stop
};

class MeshStopError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// Reads a text with a line "PACKAGE UNIT TID" per IO unit: numbers from 0, decimal or with 0x
/// before them. Blank lines, and what follows a '#', count for nothing. Throws MeshStopError with
/// path and line, for a unit that comes twice as well. Any thread.
std::vector<MeshStop> readMeshStops(const std::string& path);

} // namespace samplefold::topology
