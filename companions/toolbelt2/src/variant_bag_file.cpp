#include <toolbelt2/variant_bag.h>

#include <nlohmann/json.hpp>

#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <iterator>
#include <optional>

// A bag as JSON: {"ROOT": [{"key": K, KIND: V}, ...]}, where KIND is "bag" (V is such a list
// again), "null", "text", "hex" for text that is no UTF-8, "u16", "s32", "u32", "s64", "u64" or
// "real".
namespace toolbelt2 {
namespace {

using nlohmann::ordered_json;
using kind_t = variant_t::kind_t;

/// Bags in bags; a file cannot make the reader go deeper.
constexpr int g_mostDepth = 64;
constexpr std::int64_t g_mostBytes = std::int64_t{1} << 30;

bool isUtf8(std::string_view text)
{
    try {
        [[maybe_unused]] const std::string written = ordered_json(std::string(text)).dump();
        return true;
    } catch (const ordered_json::type_error&) {
        return false;
    }
}

std::string hexOf(std::string_view text)
{
    constexpr std::string_view digits = "0123456789abcdef";
    std::string hex;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        hex += digits[byte >> 4];
        hex += digits[byte & 15];
    }
    return hex;
}

std::string textOfHex(const std::string& hex)
{
    if (hex.size() % 2 != 0) throw std::invalid_argument("odd number of digits");
    std::string text;
    for (std::size_t i = 0; i < hex.size(); i += 2) {
        std::size_t used = 0;
        const int byte = std::stoi(hex.substr(i, 2), &used, 16);
        if (used != 2) throw std::invalid_argument("no digit");
        text += static_cast<char>(byte);
    }
    return text;
}

void putValue(ordered_json& entry, const variant_t& value)
{
    switch (value.kind()) {
    case kind_t::null:
        entry["null"] = nullptr;
        break;
    case kind_t::u16:
        entry["u16"] = value.integer_bits();
        break;
    case kind_t::s32:
        entry["s32"] = value.as_s32();
        break;
    case kind_t::u32:
        entry["u32"] = value.integer_bits();
        break;
    case kind_t::s64:
        entry["s64"] = value.as_s64();
        break;
    case kind_t::u64:
        entry["u64"] = value.integer_bits();
        break;
    case kind_t::real:
        entry["real"] = value.as_double();
        break;
    case kind_t::text:
        if (isUtf8(value.as_text()))
            entry["text"] = value.as_text();
        else
            entry["hex"] = hexOf(value.as_text());
        break;
    }
}

/// Throws for what is no value of its kind.
variant_t valueOf(const std::string& kind, const ordered_json& value)
{
    if (kind == "null" && value.is_null()) return variant_t();
    if (kind == "text") return variant_t(std::string_view(value.get_ref<const std::string&>()));
    if (kind == "hex") return variant_t(textOfHex(value.get_ref<const std::string&>()));
    if (kind == "real" && value.is_number()) return variant_t(value.get<double>());
    if (value.is_number_integer()) {
        if (kind == "u16") return variant_t(value.get<std::uint16_t>());
        if (kind == "s32") return variant_t(value.get<std::int32_t>());
        if (kind == "u32") return variant_t(value.get<std::uint32_t>());
        if (kind == "s64") return variant_t(value.get<std::int64_t>());
        if (kind == "u64") return variant_t(value.get<std::uint64_t>());
    }
    throw std::invalid_argument("no value of that kind");
}

std::optional<std::string> readAll(const std::string& path, status_t& result)
{
    struct stat about = {};
    if (::stat(path.c_str(), &about) != 0) {
        result = status::fileNotFound;
        return std::nullopt;
    }
    result = status::cannotRead;
    // Opening a pipe would wait for its other end.
    if (!S_ISREG(about.st_mode) || about.st_size > g_mostBytes) return std::nullopt;
    std::ifstream file(path, std::ios::binary);
    if (!file) return std::nullopt;
    return std::string(std::istreambuf_iterator<char>(file), {});
}

} // namespace

struct variant_bag_json_t {
    static ordered_json write(const variant_bag_t& bag)
    {
        ordered_json list = ordered_json::array();
        for (const auto& entry : bag.m_entries) {
            ordered_json written;
            written["key"] = entry.key;
            if (entry.bag != nullptr)
                written["bag"] = write(*entry.bag);
            else
                putValue(written, entry.value);
            list.push_back(std::move(written));
        }
        return list;
    }

    static void read(const ordered_json& list, variant_bag_t& bag, int depth)
    {
        if (!list.is_array() || depth > g_mostDepth) throw std::invalid_argument("no bag");
        for (const ordered_json& entry : list) {
            const std::string& key = entry.at("key").get_ref<const std::string&>();
            if (entry.size() != 2) throw std::invalid_argument("no entry");
            const auto other =
                entry.begin().key() == "key" ? std::next(entry.begin()) : entry.begin();
            if (other.key() == "bag")
                read(*other, bag.put_bag(key), depth + 1);
            else
                bag.put(key, valueOf(other.key(), *other));
        }
    }

    static void append(variant_bag_t&& from, variant_bag_t& to)
    {
        std::move(from.m_entries.begin(), from.m_entries.end(), std::back_inserter(to.m_entries));
    }
};

status_t save_variant_bag2(const variant_bag_t& bag, const std::string& path, const char* rootName)
{
    const std::string fresh = path + ".new";
    try {
        ordered_json root;
        root[rootName] = variant_bag_json_t::write(bag);
        std::ofstream file(fresh, std::ios::binary | std::ios::trunc);
        file << root.dump(1, ' ', false, ordered_json::error_handler_t::replace) << '\n';
        file.close();
        if (file && std::rename(fresh.c_str(), path.c_str()) == 0) return status::success;
    } catch (const std::exception&) {
        // No memory for it, say; what was there stays.
    }
    ::unlink(fresh.c_str());
    return status::cannotWrite;
}

status_t load_variant_bag2(variant_bag_t& bag, const std::string& path, const char* rootName,
                           bool merge)
{
    if (!merge) bag.clear();
    status_t result = status::success;
    const std::optional<std::string> text = readAll(path, result);
    if (!text) return result;
    try {
        const ordered_json root = ordered_json::parse(*text);
        variant_bag_t read;
        variant_bag_json_t::read(root.at(rootName), read, 0);
        variant_bag_json_t::append(std::move(read), bag);
    } catch (const std::exception&) {
        return status::cannotRead;
    }
    return status::success;
}

} // namespace toolbelt2
