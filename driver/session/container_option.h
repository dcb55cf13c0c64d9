#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace samplefold::session {

/// A process that the user says is in a container; its descendants are too.
struct ContainerOption {
    std::int32_t pid = 0; ///< as the recording has it
    std::string label;    ///< put in front of the container's paths
    std::string root;     ///< what the container sees as "/", normalised; see container_root.h
};

/// Reads options PID=LABEL:ROOT. PID is a positive number; LABEL is not empty and has no ":", "/"
/// or control character; ROOT is absolute and need not be there. A process is given once, and a
/// label stands for one root. Throws std::invalid_argument with one line that says what is wrong.
std::vector<ContainerOption> parseContainers(const std::vector<std::string>& texts);

/// Whether paths "LABEL:/usr/bin/t" can be told from the kernel's names for what is no file, and
/// their label from the rest.
bool isContainerLabel(std::string_view label);

/// Whether a character ends a line or moves a terminal's cursor.
bool isControlCharacter(char character);
/// A text with "?" for control characters.
std::string oneLine(std::string_view text);

} // namespace samplefold::session
