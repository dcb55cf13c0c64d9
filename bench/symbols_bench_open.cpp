// Tells how long a symbol bank takes to be opened, and to answer its first question for a symbol.
//
//     symbols_bench_open lazy|now BINARY
//
// Prints seconds of processor time: image and bank; the first question; the number of symbols; one
// more question.

#include "symbols_bench_clock.h"

#include <GLYPH_3_30/module_symbol_bank.h>

#include <cstdio>
#include <string_view>

using namespace GLYPH_3_30;

int main(int count, char** words)
{
    if (count != 3) {
        std::fprintf(stderr, "usage: symbols_bench_open lazy|now BINARY\n");
        return 2;
    }
    const bool isLazy = std::string_view(words[1]) == "lazy";
    const double start = processorSeconds();
    std::string fault;
    const auto image = IModuleImage::create(words[2], 0, false, &fault);
    SymMgrObjectPtr<IModuleSymbolBank> bank;
    if (image != nullptr) IModuleSymbolBank::create(bank, image, nullptr, isLazy, "", &fault);
    if (bank == nullptr) {
        std::fprintf(stderr, "symbols_bench_open: %s\n", fault.c_str());
        return 1;
    }
    const double opened = processorSeconds();
    SymMgrObjectPtr<ISection> text;
    symbol_t symbol;
    if (bank->getSection(".text", text) != status::success) return 1;
    const bool isFound = bank->findSymbol(text->getStart() + text->getSize() / 2, symbol);
    const double asked = processorSeconds();
    const bool isNextFound = bank->findSymbol(text->getStart() + text->getSize() / 3, symbol);
    const double askedAgain = processorSeconds();
    std::printf("%.6f %.6f %zu %.9f\n", opened - start, asked - opened, bank->getSymbols().size(),
                askedAgain - asked);
    return isFound && isNextFound ? 0 : 1;
}
