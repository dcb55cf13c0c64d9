#include "context_data_text.h"

#include "build_id.h"
#include "hex_text.h"
#include "module_path.h"
#include "search_dir_order.h"

#include <nlohmann/json.hpp>

#include <stdexcept>
#include <utility>

namespace SEEK_2_13 {
namespace {

using nlohmann::json;

constexpr int g_format = 1;
constexpr std::pair<const char*, file_kind_t> g_kinds[] = {{"binary", binaryFileKind},
                                                           {"symbol", symbolFileKind}};
constexpr std::pair<const char*, std::string machine_places_t::*> g_places[] = {
    {"debug_root", &machine_places_t::debugRoot},
    {"build_id_cache", &machine_places_t::buildIdCache},
    {"boot_folder", &machine_places_t::bootFolder},
    {"kernel_core", &machine_places_t::kernelCore},
    {"kernel_notes", &machine_places_t::kernelNotes},
    {"kernel_release", &machine_places_t::kernelRelease}};

/// A text of any bytes: as it is, or if it is no UTF-8, as an object with its bytes.
json packed(const std::string& text)
{
    try {
        json value = text;
        static_cast<void>(value.dump());
        return value;
    } catch (const json::exception&) {
        return {{"hex", hexOf(std::as_bytes(std::span(text)))}};
    }
}

unsigned digitOf(char digit)
{
    return static_cast<unsigned>(digit <= '9' ? digit - '0' : digit - 'a' + 10);
}

std::string unpacked(const json& value)
{
    std::string text;
    if (!value.is_object()) {
        text = value.get<std::string>();
    } else {
        const std::optional<std::string> hex = lowerHex(value.at("hex").get<std::string>());
        if (!hex) throw std::runtime_error("a text in hexadecimal is damaged");
        for (std::size_t i = 0; i < hex->size(); i += 2)
            text += static_cast<char>(digitOf((*hex)[i]) << 4 | digitOf((*hex)[i + 1]));
    }
    if (text.find('\0') != std::string::npos) throw std::runtime_error("a path contains a zero");
    return text;
}

json packedDirectory(const search_dir_t& dir)
{
    json value = {{"path", packed(dir.path)}, {"below", dir.below}, {"order", dir.order}};
    for (const auto& [name, kind] : g_kinds)
        if (kind == dir.kind) value["kind"] = name;
    return value;
}

search_dir_t unpackedDirectory(const json& value)
{
    search_dir_t dir;
    dir.kind = 0;
    for (const auto& [name, kind] : g_kinds)
        if (value.at("kind").get<std::string>() == name) dir.kind = kind;
    dir.path = unpacked(value.at("path"));
    dir.below = value.at("below").get<bool>();
    dir.order = value.at("order").get<std::uint32_t>();
    return dir;
}

context_data_t unpackedData(const json& value)
{
    if (value.at("format").get<int>() != g_format)
        throw std::runtime_error("its format is none that this version reads");
    context_data_t data;
    for (const json& item : value.at("build_ids"))
        data.buildIds[unpacked(item.at("module"))] = item.at("build_id").get<std::string>();
    for (const json& item : value.at("directories"))
        data.directories.push_back(unpackedDirectory(item));
    for (const json& item : value.at("substitutions"))
        data.substitutions.push_back({unpacked(item.at("from")), unpacked(item.at("to"))});
    for (const auto& [name, field] : g_places)
        if (value.at("places").contains(name))
            data.places.*field = unpacked(value.at("places").at(name));
    data.networkAllowed = value.at("network").get<bool>();
    return data;
}

} // namespace

bool tidy(context_data_t& data, std::string& fault)
{
    for (auto& [module, id] : data.buildIds) {
        const std::optional<std::string> checked = checkedBuildId(id);
        if (!checked) {
            fault = "the build id \"";
            fault += id;
            fault += "\" of ";
            fault += module;
            fault += " is not of 1 to 64 bytes in hexadecimal with one that is not zero";
            return false;
        }
        id = *checked;
    }
    for (search_dir_t& dir : data.directories) {
        if (!isSearchable(dir)) {
            fault = "a directory has no path, or is neither for binaries nor for symbol files";
            return false;
        }
        dir.path = absoluteFolder(dir.path);
    }
    for (path_substitution_t& rule : data.substitutions) {
        if (rule.from.empty()) {
            fault = "a path substitution has nothing to replace";
            return false;
        }
        if (!rule.to.empty()) rule.to = absoluteFolder(rule.to);
    }
    return true;
}

std::string textOfData(const context_data_t& data)
{
    json value = {{"format", g_format},           {"build_ids", json::array()},
                  {"directories", json::array()}, {"substitutions", json::array()},
                  {"places", json::object()},     {"network", data.networkAllowed}};
    for (const auto& [module, id] : data.buildIds)
        value["build_ids"].push_back({{"module", packed(module)}, {"build_id", id}});
    for (const search_dir_t& dir : data.directories)
        value["directories"].push_back(packedDirectory(dir));
    for (const path_substitution_t& rule : data.substitutions)
        value["substitutions"].push_back({{"from", packed(rule.from)}, {"to", packed(rule.to)}});
    for (const auto& [name, field] : g_places)
        if (!(data.places.*field).empty()) value["places"][name] = packed(data.places.*field);
    return value.dump(1) + '\n';
}

bool readData(std::string_view text, context_data_t& data, std::string& fault)
try {
    context_data_t read = unpackedData(json::parse(text));
    if (!tidy(read, fault)) return false;
    data = std::move(read);
    return true;
} catch (const std::exception& error) {
    fault = error.what();
    return false;
}

} // namespace SEEK_2_13
