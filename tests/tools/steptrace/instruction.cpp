#include "instruction.h"

#include <Zydis/Zydis.h>

namespace steptrace {
namespace {

ZydisDecoder makeDecoder()
{
    ZydisDecoder decoder{};
    ZydisDecoderInit(&decoder, ZYDIS_MACHINE_MODE_LONG_64, ZYDIS_STACK_WIDTH_64);
    ZydisDecoderEnableMode(&decoder, ZYDIS_DECODER_MODE_MINIMAL, ZYAN_FALSE);
    return decoder;
}

InstructionKind kindOf(const ZydisDecodedInstruction& decoded)
{
    switch (decoded.meta.category) {
    case ZYDIS_CATEGORY_CALL:
        return decoded.meta.branch_type == ZYDIS_BRANCH_TYPE_FAR ? InstructionKind::other
                                                                 : InstructionKind::nearCall;
    case ZYDIS_CATEGORY_RET:
        return decoded.mnemonic == ZYDIS_MNEMONIC_RET ? InstructionKind::nearReturn
                                                      : InstructionKind::other;
    case ZYDIS_CATEGORY_UNCOND_BR:
        return InstructionKind::jump;
    case ZYDIS_CATEGORY_COND_BR:
        return InstructionKind::conditionalJump;
    case ZYDIS_CATEGORY_SYSCALL:
        return InstructionKind::systemCall;
    default:
        return InstructionKind::other;
    }
}

} // namespace

std::optional<Instruction> decode(std::span<const std::uint8_t> code)
{
    static const ZydisDecoder decoder = makeDecoder();
    ZydisDecodedInstruction decoded;
    if (!ZYAN_SUCCESS(
            ZydisDecoderDecodeInstruction(&decoder, nullptr, code.data(), code.size(), &decoded)))
        return std::nullopt;
    return Instruction{decoded.length, kindOf(decoded)};
}

} // namespace steptrace
