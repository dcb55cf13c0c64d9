#include "session/container_option.h"

#include "session/container_root.h"
#include "session/module_names.h"

#include <algorithm>
#include <charconv>
#include <stdexcept>

namespace samplefold::session {
namespace {

[[noreturn]] void refuse(std::string_view text, const std::string& why)
{
    throw std::invalid_argument(oneLine(text) + ": " + why);
}

ContainerOption parseContainer(std::string_view text)
{
    const std::size_t equals = text.find('=');
    const std::size_t colon = text.find(':', equals == text.npos ? 0 : equals);
    if (equals == text.npos || colon == text.npos)
        refuse(text, "is not of the form PID=LABEL:ROOT");

    ContainerOption option;
    const char* const pidEnd = text.data() + equals;
    const auto [end, error] = std::from_chars(text.data(), pidEnd, option.pid);
    if (error != std::errc{} || end != pidEnd || option.pid <= 0)
        refuse(text, "PID must be a positive number");
    option.label = text.substr(equals + 1, colon - equals - 1);
    if (option.label.empty()) refuse(text, "LABEL must not be empty");
    if (!isContainerLabel(option.label)) {
        refuse(text, "LABEL must have no \":\", \"/\" or control character, and must not begin as "
                     "the kernel's names for memory do");
    }
    const std::string_view root = text.substr(colon + 1);
    if (!root.starts_with('/')) refuse(text, "ROOT must be an absolute directory");
    option.root = normalisedPath(root);
    return option;
}

/// Paths of two file systems below one label could not be told apart.
void checkAgreement(const ContainerOption& a, const ContainerOption& b, std::string_view text)
{
    if (a.pid == b.pid) refuse(text, "process " + std::to_string(a.pid) + " is given twice");
    if (a.label == b.label && a.root != b.root)
        refuse(text, "LABEL stands for " + oneLine(a.root) + " already");
}

} // namespace

bool isControlCharacter(char character)
{
    return static_cast<unsigned char>(character) < 0x20 || character == 0x7f;
}

std::string oneLine(std::string_view text)
{
    std::string safe(text);
    std::replace_if(safe.begin(), safe.end(), isControlCharacter, '?');
    return safe;
}

bool isContainerLabel(std::string_view label)
{
    return !label.empty() && label.find_first_of(":/") == label.npos &&
           std::none_of(label.begin(), label.end(), isControlCharacter) &&
           isFile(std::string(label) + ":/");
}

std::vector<ContainerOption> parseContainers(const std::vector<std::string>& texts)
{
    std::vector<ContainerOption> options;
    for (const std::string& text : texts) {
        ContainerOption option = parseContainer(text);
        for (const ContainerOption& earlier : options)
            checkAgreement(earlier, option, text);
        options.push_back(std::move(option));
    }
    return options;
}

} // namespace samplefold::session
