#include "instruction_reader.h"

#include <algorithm>
#include <array>

namespace pathnav_3 {
namespace {

/// Per mnemonic the kind of terminator; fallThrough stands for none.
using kinds_t = std::array<terminator_t, ZYDIS_MNEMONIC_MAX_VALUE + 1>;

constexpr std::array g_conditional = {
    ZYDIS_MNEMONIC_JB,    ZYDIS_MNEMONIC_JBE,    ZYDIS_MNEMONIC_JCXZ,  ZYDIS_MNEMONIC_JECXZ,
    ZYDIS_MNEMONIC_JL,    ZYDIS_MNEMONIC_JLE,    ZYDIS_MNEMONIC_JNB,   ZYDIS_MNEMONIC_JNBE,
    ZYDIS_MNEMONIC_JNL,   ZYDIS_MNEMONIC_JNLE,   ZYDIS_MNEMONIC_JNO,   ZYDIS_MNEMONIC_JNP,
    ZYDIS_MNEMONIC_JNS,   ZYDIS_MNEMONIC_JNZ,    ZYDIS_MNEMONIC_JO,    ZYDIS_MNEMONIC_JP,
    ZYDIS_MNEMONIC_JS,    ZYDIS_MNEMONIC_JZ,     ZYDIS_MNEMONIC_JRCXZ, ZYDIS_MNEMONIC_LOOP,
    ZYDIS_MNEMONIC_LOOPE, ZYDIS_MNEMONIC_LOOPNE, ZYDIS_MNEMONIC_XBEGIN};
constexpr std::array g_trap = {ZYDIS_MNEMONIC_UD0, ZYDIS_MNEMONIC_UD1, ZYDIS_MNEMONIC_UD2,
                               ZYDIS_MNEMONIC_HLT, ZYDIS_MNEMONIC_INT3};
constexpr std::array g_return = {
    ZYDIS_MNEMONIC_RET,    ZYDIS_MNEMONIC_IRET,    ZYDIS_MNEMONIC_IRETD, ZYDIS_MNEMONIC_IRETQ,
    ZYDIS_MNEMONIC_SYSRET, ZYDIS_MNEMONIC_SYSEXIT, ZYDIS_MNEMONIC_UIRET, ZYDIS_MNEMONIC_RSM};

constexpr kinds_t kindsByMnemonic()
{
    kinds_t kinds = {}; // fallThrough everywhere
    for (const ZydisMnemonic mnemonic : g_conditional)
        kinds[mnemonic] = terminator_t::conditional;
    for (const ZydisMnemonic mnemonic : g_trap)
        kinds[mnemonic] = terminator_t::trap;
    for (const ZydisMnemonic mnemonic : g_return)
        kinds[mnemonic] = terminator_t::ret;
    kinds[ZYDIS_MNEMONIC_JMP] = terminator_t::jump;
    kinds[ZYDIS_MNEMONIC_CALL] = terminator_t::call;
    return kinds;
}

constexpr kinds_t g_kinds = kindsByMnemonic();

} // namespace

InstructionReader::InstructionReader()
{
    ::ZydisDecoderInit(&m_decoder, ZYDIS_MACHINE_MODE_LONG_64, ZYDIS_STACK_WIDTH_64);
    // Lengths, mnemonics and encoded numbers are all that is needed.
    ::ZydisDecoderEnableMode(&m_decoder, ZYDIS_DECODER_MODE_MINIMAL, ZYAN_TRUE);
}

instruction_t InstructionReader::read(std::span<const std::byte> bytes, std::uint64_t rva) const
{
    ZydisDecodedInstruction decoded;
    const std::size_t size = std::min(bytes.size(), g_maxInstructionBytes);
    if (!ZYAN_SUCCESS(
            ::ZydisDecoderDecodeInstruction(&m_decoder, nullptr, bytes.data(), size, &decoded)))
        return {1, true, terminator_t::invalid, IBasicBlock::unknownTarget};
    instruction_t instruction;
    instruction.size = decoded.length;
    instruction.kind = g_kinds[decoded.mnemonic];
    instruction.isTerminator = instruction.kind != terminator_t::fallThrough;
    if (instruction.isTerminator && decoded.raw.imm[0].is_relative != ZYAN_FALSE)
        instruction.target =
            rva + decoded.length + static_cast<std::uint64_t>(decoded.raw.imm[0].value.s);
    return instruction;
}

} // namespace pathnav_3
