#pragma once

#include <string>
#include <string_view>

namespace samplefold::session {

/// What people know a container by, from the path of its control group: the first twelve digits of
/// the identity that an engine gave it ("docker-<identity>.scope", "/docker/<identity>"), looked
/// for from the last element on; else the last element. Characters that a label cannot have become
/// "_". Empty when the path tells nothing.
std::string labelOfCgroup(std::string_view path);

} // namespace samplefold::session
