"""Makes the binaries that symbols_bench asks about, the same ones each time, from nothing but this text."""
import os
import subprocess

_HEADERS = ["algorithm", "functional", "iostream", "map", "memory", "numeric", "optional", "regex", "set", "sstream",
            "string", "tuple", "unordered_map", "variant", "vector"]

# Types of its own for every unit, so that each template is another function: UNIT and ITEM are numbers.
_ITEM = """
struct item_UNIT_ITEM {
    std::string name;
    std::vector<double> values;
    long weight = ITEM;
    bool operator<(const item_UNIT_ITEM& other) const
    {
        return std::tie(weight, name, values) < std::tie(other.weight, other.name, other.values);
    }
    double sum() const { return std::accumulate(values.begin(), values.end(), double(weight)); }
};
static std::map<std::string, std::vector<item_UNIT_ITEM>> grouped_UNIT_ITEM(std::vector<item_UNIT_ITEM> items)
{
    std::sort(items.begin(), items.end());
    std::stable_sort(items.begin(), items.end(), [](const auto& a, const auto& b) { return a.sum() < b.sum(); });
    std::map<std::string, std::vector<item_UNIT_ITEM>> groups;
    for (item_UNIT_ITEM& item : items)
        groups[item.name.substr(0, 3)].push_back(std::move(item));
    return groups;
}
double total_UNIT_ITEM(const std::vector<std::string>& names)
{
    std::vector<item_UNIT_ITEM> items;
    std::unordered_map<std::string, std::shared_ptr<item_UNIT_ITEM>> known;
    std::set<item_UNIT_ITEM> distinct;
    for (const std::string& name : names) {
        auto& entry = known[name];
        if (!entry) entry = std::make_shared<item_UNIT_ITEM>(item_UNIT_ITEM{name, {1.0 * name.size(), 2.5}, ITEM});
        entry->weight += UNIT;
        items.push_back(*entry);
        distinct.insert(*entry);
    }
    std::function<double(const item_UNIT_ITEM&)> weigh = [&](const item_UNIT_ITEM& item) {
        return item.sum() * distinct.count(item) + known.size();
    };
    std::variant<long, std::string, item_UNIT_ITEM> last = items.empty() ? item_UNIT_ITEM{} : items.back();
    double total = std::visit([](const auto& value) { return double(sizeof value); }, last);
    for (const auto& [key, group] : grouped_UNIT_ITEM(items)) {
        std::ostringstream text;
        text << key << group.size();
        total += std::accumulate(group.begin(), group.end(), double(text.str().size()),
                                 [&](double sum, const item_UNIT_ITEM& item) { return sum + weigh(item); });
    }
    return total;
}
"""


def _unit(number, items):
    text = "".join(f"#include <{name}>\n" for name in _HEADERS) + "namespace {\n"
    bodies = "".join(_ITEM.replace("UNIT", str(number)).replace("ITEM", str(i)) for i in range(items))
    calls = "".join(f"    total += total_{number}_{i}(names);\n" for i in range(items))
    return (text + "}\n" + bodies + f"double unit_{number}(const std::vector<std::string>& names)\n{{\n"
            f"    double total = std::regex_match(names[0], std::regex(\"[a-z]+{number}\"));\n{calls}"
            "    return total;\n}\n")


def large_program(folder, units, items, jobs):
    """A C++ program of `units` sources with debug information, each with instances of its own of the
    standard library's templates. Made once per folder; returns its path."""
    path = os.path.join(folder, f"large-{units}-{items}")
    if os.path.exists(path):
        return path
    sources = os.path.join(folder, "sources")
    os.makedirs(sources, exist_ok=True)
    for number in range(units):
        with open(os.path.join(sources, f"unit_{number}.cpp"), "w") as out:
            out.write(_unit(number, items))
    with open(os.path.join(sources, "main.cpp"), "w") as out:
        out.write("#include <cstdio>\n#include <string>\n#include <vector>\n")
        out.writelines(f"double unit_{n}(const std::vector<std::string>&);\n" for n in range(units))
        out.write("int main(int count, char** words)\n{\n    std::vector<std::string> names(words, words + count);\n"
                  "    double total = 0;\n")
        out.writelines(f"    total += unit_{n}(names);\n" for n in range(units))
        out.write("    std::printf(\"%g\\n\", total);\n}\n")
    names = ["main"] + [f"unit_{n}" for n in range(units)]
    subprocess.run(["xargs", "-P", str(jobs), "-I{}", "g++", "-std=c++17", "-O2", "-g", "-c", "{}.cpp", "-o", "{}.o"],
                   input="\n".join(names), text=True, check=True, cwd=sources)
    subprocess.run(["g++", "-o", os.path.abspath(path)] + [name + ".o" for name in names], check=True, cwd=sources)
    for name in names:
        os.remove(os.path.join(sources, name + ".o"))
    return path


def many_symbols(folder, symbols, code_bytes, data_megabytes):
    """A program of `symbols` functions of `code_bytes` each and `data_megabytes` of data, without debug
    information. Made once per folder; returns its path."""
    path = os.path.join(folder, f"symbols-{symbols}-{code_bytes}-{data_megabytes}")
    if os.path.exists(path):
        return path
    with open(path + ".s", "w") as out:
        out.write(".text\n.globl _start\n_start: nop\n")
        for number in range(symbols):
            name = f"_ZN7project{9 + len(str(number % 997))}component{number % 997}8functionEi.part.{number}"
            out.write(f".type {name}, @function\n{name}: .skip {code_bytes}, 0x90\n.size {name}, .-{name}\n")
        out.write(f".data\n.skip {data_megabytes << 20}, 1\n")
    subprocess.run(["as", "-o", path + ".o", path + ".s"], check=True)
    subprocess.run(["ld", "-o", path, path + ".o"], check=True)
    os.remove(path + ".s")
    os.remove(path + ".o")
    return path
