#include "software_chain.h"

namespace steptrace {
namespace {

/// Where the user's half of the address space ends.
constexpr std::uint64_t userEnd = 0x7ffffffff000;

/// What a function that keeps frame pointers has where its own points to.
struct Link {
    std::uint64_t next;
    std::uint64_t returnAddress;
};

} // namespace

std::vector<std::uint64_t> framePointerChain(const Tracee& tracee, std::size_t cap)
{
    std::vector<std::uint64_t> chain{tracee.registers().rip};
    std::uint64_t frame = tracee.registers().rbp;
    Link link{};
    while (chain.size() < cap && frame < userEnd - sizeof link &&
           tracee.read(frame, &link, sizeof link)) {
        chain.push_back(link.returnAddress);
        frame = link.next;
    }
    return chain;
}

} // namespace steptrace
