// Answers like `addr2line -a -i -f -e BINARY`, by the library, and tells how long it took.
//
//     symbols_bench_ask BINARY [DEBUG_FILE] < ADDRESSES > ANSWERS
//
// ADDRESSES has one address a line, in hexadecimal; ANSWERS gets for each the address and, for each
// function there, innermost first, a line with its name and one with its place. Standard error gets
// seconds of processor time: the first question, image and bank included, then all questions
// without printing, and all of them once more.

#include "symbols_bench_clock.h"

#include <GLYPH_3_30/module_symbol_bank.h>

#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

using namespace GLYPH_3_30;

SymMgrObjectPtr<IModuleSymbolBank> openBank(const char* path, const char* debugFile)
{
    std::string fault;
    const SymMgrObjectPtr<IModuleImage> image = IModuleImage::create(path, 0, false, &fault);
    SymMgrObjectPtr<IModuleSymbolBank> bank;
    if (image != nullptr) IModuleSymbolBank::create(bank, image, nullptr, true, debugFile, &fault);
    if (bank == nullptr) std::fprintf(stderr, "symbols_bench_ask: %s\n", fault.c_str());
    return bank;
}

std::vector<std::uint64_t> readAddresses()
{
    std::vector<std::uint64_t> addresses;
    char line[64];
    while (std::fgets(line, sizeof line, stdin) != nullptr)
        addresses.push_back(std::strtoull(line, nullptr, 16));
    return addresses;
}

/// The frames at the address; without debug information there, the symbol as one frame.
void ask(const IModuleSymbolBank& bank, std::uint64_t address, std::vector<source_frame_t>& frames)
{
    if (bank.findFrames(address, frames)) return;
    symbol_t symbol;
    source_frame_t frame;
    if (bank.findSymbol(address, symbol)) frame.function = symbol.name;
    frames.push_back(frame);
}

void print(std::uint64_t address, const std::vector<source_frame_t>& frames)
{
    std::printf("0x%016" PRIx64 "\n", address);
    for (const source_frame_t& frame : frames)
        std::printf("%s\n%s:%" PRIu32 "\n", *frame.function != '\0' ? frame.function : "??",
                    *frame.file != '\0' ? frame.file : "??", frame.line);
}

/// As a caller does that wants the answers and no text: sums up, so that nothing is left out.
std::uint64_t sumOfAnswers(const IModuleSymbolBank& bank,
                           const std::vector<std::uint64_t>& addresses)
{
    std::uint64_t sum = 0;
    std::vector<source_frame_t> frames;
    for (const std::uint64_t address : addresses) {
        ask(bank, address, frames);
        for (const source_frame_t& frame : frames)
            sum += static_cast<unsigned char>(*frame.function) +
                   static_cast<unsigned char>(*frame.file) + frame.line;
    }
    return sum;
}

} // namespace

int main(int count, char** words)
{
    if (count != 2 && count != 3) {
        std::fprintf(stderr, "usage: symbols_bench_ask BINARY [DEBUG_FILE] < ADDRESSES\n");
        return 2;
    }
    const std::vector<std::uint64_t> addresses = readAddresses();
    if (addresses.empty()) return 0;
    const double start = processorSeconds();
    const auto bank = openBank(words[1], count == 3 ? words[2] : "");
    if (bank == nullptr) return 1;
    std::vector<source_frame_t> frames;
    ask(*bank, addresses[0], frames);
    const double first = processorSeconds() - start;
    const std::uint64_t sum = sumOfAnswers(*bank, addresses);
    const double all = processorSeconds() - start;
    const double again = processorSeconds();
    const bool isSame = sumOfAnswers(*bank, addresses) == sum;
    const double known = processorSeconds() - again;
    for (const std::uint64_t address : addresses) {
        ask(*bank, address, frames);
        print(address, frames);
    }
    std::fprintf(stderr, "%.6f %.6f %.6f\n", first, all, known);
    return isSame ? 0 : 1;
}
