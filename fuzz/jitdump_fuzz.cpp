// Fuzz target of the jitdump reader: reads the bytes, plays the records, asks for everything that
// was found, and compares look-ups with a scan of all versions.

#include "dump_code.h"
#include "dump_reader.h"
#include "region_index.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <vector>

namespace jitlens_3_13 {
namespace {

/// What must hold for any input that is read.
void require(bool holds)
{
    if (!holds) std::abort();
}

/// Touches every byte that an answer gives access to, so that a view outside of the input is found.
std::uint64_t touch(const DumpCode& code, std::uint64_t rva)
{
    std::uint64_t sum = 0;
    symbol_t symbol;
    source_line_t line;
    if (code.findSymbol(rva, symbol)) {
        require(symbol.rva <= rva && rva - symbol.rva < symbol.size);
        require(symbol.code.size() == symbol.size);
        for (const char c : symbol.name)
            sum += static_cast<unsigned char>(c);
        for (const std::byte byte : symbol.code)
            sum += static_cast<std::uint64_t>(byte);
    }
    if (code.findLine(rva, line))
        for (const char c : line.file)
            sum += static_cast<unsigned char>(c);
    return sum;
}

const version_t* scan(const std::vector<version_t>& versions, std::uint64_t time,
                      std::uint64_t address)
{
    const auto found = std::find_if(versions.begin(), versions.end(), [&](const version_t& v) {
        return v.holds(address) && v.isThere(time);
    });
    return found == versions.end() ? nullptr : &*found;
}

const version_t* scanEarliest(const std::vector<version_t>& versions, std::uint64_t time,
                              std::uint64_t first, std::uint64_t last)
{
    const version_t* best = nullptr;
    for (const version_t& v : versions)
        if (v.first <= last && first <= v.last && !v.endsBy(time) &&
            (best == nullptr || v.loadTime < best->loadTime ||
             (v.loadTime == best->loadTime && v.first < best->first)))
            best = &v;
    return best;
}

void compareWithScan(const RegionIndex& index)
{
    const std::vector<version_t>& versions = index.versions();
    for (const version_t& v : versions) {
        require(v.first <= v.last && v.loadTime < v.unloadTime);
        for (const std::uint64_t time : {v.loadTime, v.loadTime - 1, v.unloadTime})
            for (const std::uint64_t address : {v.first, v.last, v.first - 1, v.last + 1})
                require(index.find(time, address) == scan(versions, time, address));
        require(index.findEarliest(v.loadTime, v.first, v.last) ==
                scanEarliest(versions, v.loadTime, v.first, v.last));
        require(index.findEarliest(v.unloadTime, v.last, g_forever) ==
                scanEarliest(versions, v.unloadTime, v.last, g_forever));
    }
}

} // namespace

void fuzzOne(bytes_t bytes)
{
    source_t source;
    const std::unique_ptr<CodeFile> code =
        makeDumpCode(std::vector<std::byte>(bytes.begin(), bytes.end()), source);
    if (code == nullptr) {
        require(!source.fault.empty() && source.functions == 0);
        return;
    }
    auto& dump = dynamic_cast<DumpCode&>(*code);
    const dump_t read = readDump(bytes);
    require(read.functions.size() == source.functions);
    require(read.lines.size() * 17 <= bytes.size());
    for (const dump_function_t& function : read.functions) {
        touch(dump, function.code);
        touch(dump, function.code + function.size - 1);
        touch(dump, function.code + function.size);
    }
    compareWithScan(dump.index());
    dump.ignoreTimes();
    compareWithScan(dump.index());
}

} // namespace jitlens_3_13

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    jitlens_3_13::fuzzOne({reinterpret_cast<const std::byte*>(data), size});
    return 0;
}
