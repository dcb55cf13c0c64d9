#include "unwind/frame_rules.h"

#include "unwind/user_registers.h"

#include <dwarf.h>
#include <elfutils/libdw.h>

#include <array>
#include <cstdlib>

namespace samplefold::unwind {
namespace {

constexpr int g_framePointer = static_cast<int>(UserRegisters::framePointer);
constexpr int g_stackPointer = static_cast<int>(UserRegisters::stackPointer);

/// What libdw says about a register of the caller.
class CallerRegister {
public:
    CallerRegister(Dwarf_Frame* frame, int number)
        : m_isRead(::dwarf_frame_register(frame, number, m_room.data(), &m_steps, &m_count) == 0)
    {
    }
    CallerRegister(const CallerRegister&) = delete;
    CallerRegister& operator=(const CallerRegister&) = delete;

    // libdw tells the two by whether the caller's room holds no steps, or nothing does.
    bool isUndefined() const { return m_isRead && m_count == 0 && m_steps == m_room.data(); }
    bool isSame() const { return m_isRead && m_count == 0 && m_steps == nullptr; }
    /// Whether it stands in memory at the caller's stack pointer plus `offset`.
    bool isAt(std::int64_t& offset) const
    {
        if (!m_isRead || m_count != 2 || m_steps[0].atom != DW_OP_call_frame_cfa ||
            m_steps[1].atom != DW_OP_plus_uconst)
            return false;
        offset = static_cast<std::int64_t>(m_steps[1].number);
        return true;
    }
    /// Whether it is the caller's stack pointer as the frame tells it.
    bool isStackPointer() const
    {
        return m_isRead && m_count == 2 && m_steps[0].atom == DW_OP_call_frame_cfa &&
               m_steps[1].atom == DW_OP_stack_value;
    }

private:
    std::array<Dwarf_Op, 3> m_room{};
    Dwarf_Op* m_steps = nullptr;
    std::size_t m_count = 0;
    bool m_isRead;
};

bool readStackRule(Dwarf_Frame* frame, FrameRule& rule)
{
    Dwarf_Op* steps = nullptr;
    std::size_t count = 0;
    if (::dwarf_frame_cfa(frame, &steps, &count) != 0 || count != 1) return false;
    if (steps[0].atom != DW_OP_bregx) return false;
    if (steps[0].number != g_framePointer && steps[0].number != g_stackPointer) return false;
    rule.isFromFrame = steps[0].number == g_framePointer;
    rule.offset = static_cast<std::int64_t>(steps[0].number2);
    return CallerRegister(frame, g_stackPointer).isStackPointer();
}

bool readFrameRule(Dwarf_Frame* frame, FrameRule& rule)
{
    const CallerRegister pointer(frame, g_framePointer);
    rule.savesFrame = pointer.isAt(rule.frameAt);
    return rule.savesFrame || pointer.isSame();
}

FrameRule ruleOf(Dwarf_Frame* frame)
{
    FrameRule rule;
    Dwarf_Addr start = 0;
    Dwarf_Addr end = 0;
    bool isSignal = false;
    const int number = ::dwarf_frame_info(frame, &start, &end, &isSignal);
    if (isSignal || number != static_cast<int>(UserRegisters::instruction)) return rule;
    const CallerRegister returnAddress(frame, number);
    if (returnAddress.isUndefined())
        rule.kind = FrameRule::Kind::outermost;
    else if (returnAddress.isAt(rule.returnAt) && readStackRule(frame, rule) &&
             readFrameRule(frame, rule))
        rule.kind = FrameRule::Kind::simple;
    return rule;
}

} // namespace

FrameRules::FrameRules(::Elf* image) : m_table(::dwarf_getcfi_elf(image)) {}

FrameRules::~FrameRules()
{
    if (m_table != nullptr) ::dwarf_cfi_end(m_table);
}

FrameRule FrameRules::at(std::uint64_t address)
{
    if (const auto known = m_known.find(address); known != m_known.end()) return known->second;
    if (m_known.size() >= mostKept) m_known.clear();
    return m_known.emplace(address, read(address)).first->second;
}

FrameRule FrameRules::read(std::uint64_t address) const
{
    Dwarf_Frame* frame = nullptr;
    if (m_table == nullptr || ::dwarf_cfi_addrframe(m_table, address, &frame) != 0) return {};
    const FrameRule rule = ruleOf(frame);
    std::free(frame);
    return rule;
}

} // namespace samplefold::unwind
