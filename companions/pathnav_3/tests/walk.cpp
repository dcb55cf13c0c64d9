#include "walk.h"

#include <array>
#include <sstream>

namespace pathnav_test {

ObjectPtr<IBasicBlockNavigator> navigatorOver(const ObjectPtr<IDataSource>& source)
{
    return IBasicBlockNavigator::create(source, 10, 0);
}

std::string textOf(const IBasicBlock* block)
{
    if (block == nullptr) return "none";
    static constexpr std::array s_kinds{"fallThrough", "conditional", "jump",   "call",
                                        "trap",        "ret",         "invalid"};
    std::ostringstream out;
    out << std::hex << block->getStart() << '-' << block->getStart() + block->getSize() << ' '
        << s_kinds.at(static_cast<std::size_t>(block->getTerminatorKind()));
    if (block->getTarget() != IBasicBlock::unknownTarget) out << ' ' << block->getTarget();
    out << " @" << block->getLastInstruction();
    return out.str();
}

std::string blockAt(IBasicBlockNavigator& navigator, std::uint64_t rva)
{
    navigator.goTo(rva);
    return textOf(navigator.getCurrentBlock());
}

std::string fallThroughOf(IBasicBlockNavigator& navigator, std::uint64_t rva)
{
    navigator.goTo(rva);
    const IBasicBlock* before = navigator.getCurrentBlock();
    if (navigator.stepToFallThrough()) return textOf(navigator.getCurrentBlock());
    return navigator.getCurrentBlock() == before ? "none" : "moved";
}

std::vector<std::string> blocksFrom(IBasicBlockNavigator& navigator, std::uint64_t rva)
{
    std::vector<std::string> blocks;
    navigator.goTo(rva);
    if (navigator.getCurrentBlock() == nullptr) return blocks;
    do
        blocks.push_back(textOf(navigator.getCurrentBlock()));
    while (navigator.stepToNext());
    return blocks;
}

one_function_t::one_function_t(std::string_view text)
{
    const std::string bytes = fromHexText(text);
    source = new toolbelt2::ref_counted_t<ByteSource>(
        0x10, bytes, std::vector<code_range_t>{{0x10, 0x10 + bytes.size(), true}});
    navigator = navigatorOver(source);
}

} // namespace pathnav_test
