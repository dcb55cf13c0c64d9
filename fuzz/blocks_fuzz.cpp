// Fuzz target of basic blocks: code that is any bytes, divided in any way. The first byte tells how
// many functions there are, two bytes each how long they are and what stands between them; then
// come as many places to go to, and the code.

#include "byte_source.h"
#include "explore.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

namespace {

using namespace pathnav_test;

/// Takes numbers off the front of the input; 0 when it is used up.
class Input {
public:
    Input(const std::uint8_t* data, std::size_t size)
        : m_left(reinterpret_cast<const char*>(data), size)
    {
    }
    std::uint64_t byte()
    {
        if (m_left.empty()) return 0;
        const auto value = static_cast<std::uint8_t>(m_left.front());
        m_left.remove_prefix(1);
        return value;
    }
    std::uint64_t word()
    {
        const std::uint64_t low = byte();
        return low + (byte() << 8);
    }
    std::string_view rest() const { return m_left; }

private:
    std::string_view m_left;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    constexpr std::uint64_t base = 0x1000;
    Input input(data, size);
    const std::uint64_t functions = input.byte() % 16;
    std::vector<code_range_t> ranges;
    std::vector<std::uint64_t> places;
    std::uint64_t at = base;
    for (std::uint64_t i = 0; i < functions; ++i) {
        const std::uint64_t length = input.word() + 1;
        const std::uint64_t kind = input.byte();
        ranges.push_back({at, at + length, kind % 2 == 0});
        at += length + (kind % 4 == 3 ? kind : 0);
        places.push_back(base + input.word());
    }
    ranges.push_back({at, at + (std::uint64_t{1} << 40), false}); // most of it is not there
    const std::string code(input.rest());
    const boost::intrusive_ptr<ByteSource> source =
        new toolbelt2::ref_counted_t<ByteSource>(base, code, ranges);
    for (const std::uint64_t place : places)
        source->goneFor.insert(place);
    places.push_back(base);

    // At most one block begins at a byte.
    const std::uint64_t steps = code.size() + 1;
    if (explore(source, places, 3 * steps) > code.size()) std::abort();
    // Each piece of code is read a few times at most, each overlapping one in blocks of bytes.
    if (static_cast<std::uint64_t>(source->reads) > 8 * (steps + ranges.size())) std::abort();
    return 0;
}
