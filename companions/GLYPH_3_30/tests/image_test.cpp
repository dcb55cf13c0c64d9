// What is taken for an image, and what is told of the rest.

#include "sample_program.h"
#include "tool.h"

#include <gtest/gtest.h>

#include <elf.h>
#include <sys/auxv.h>
#include <sys/stat.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace {

using namespace GLYPH_3_30;
using namespace glyph_test;

std::string write(const std::string& name, const std::string& content)
{
    std::ofstream(scratch() + name, std::ios::binary) << content;
    return scratch() + name;
}

std::string faultOf(const std::string& path, arch_t arch = 0)
{
    std::string fault;
    const auto image = IModuleImage::create(path.c_str(), arch, false, &fault);
    EXPECT_EQ(image == nullptr, !fault.empty());
    EXPECT_EQ(fault.find('\n'), std::string::npos);
    return fault;
}

std::string ownPath()
{
    return std::filesystem::read_symlink("/proc/self/exe");
}

TEST(Image, aFileThatIsNoElfFileIsRefusedWithTheReason)
{
    const std::string text = write("text", "#!/bin/sh\necho\n");
    EXPECT_EQ(faultOf(text), text + ": not an ELF file");
    EXPECT_EQ(faultOf(write("empty", "")), scratch() + "empty: not an ELF file");
}

TEST(Image, aMissingFileIsRefusedWithTheReason)
{
    EXPECT_EQ(faultOf(scratch() + "missing"),
              scratch() + "missing: cannot be opened: No such file or directory");
}

TEST(Image, foldersPipesAndDevicesAreRefusedAndNeverWaitedFor)
{
    const std::string pipe = scratch() + "pipe";
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
    for (const std::string& path : {scratch(), pipe, std::string("/dev/null")})
        EXPECT_EQ(faultOf(path), path + ": not a regular file");
}

TEST(Image, anObjectFileIsRefused)
{
    const std::string path = compile("object.o", "-c");
    EXPECT_EQ(faultOf(path), path + ": neither an executable nor a shared object");
}

TEST(Image, theArchitectureIsCheckedUnlessItIsZero)
{
    EXPECT_EQ(faultOf(ownPath(), 62), "");
    EXPECT_EQ(faultOf(ownPath(), 183), ownPath() + ": made for machine 62 instead of 183");
    EXPECT_EQ(openImage(ownPath())->getArchitecture(), 62u);
}

TEST(Image, aNullPathIsRefused)
{
    EXPECT_FALSE(IModuleImage::create(static_cast<const char*>(nullptr), 0, false));
}

TEST(Image, aFileCutAnywhereGivesAnImageOrAReason)
{
    std::ifstream in(compile("small", "-O1 -s"), std::ios::binary);
    const std::string whole{std::istreambuf_iterator<char>(in), {}};
    int images = 0;
    for (std::size_t size = 0; size < whole.size(); size += size < 1024 ? 1 : 997) {
        std::string fault;
        const auto image =
            IModuleImage::create(std::as_bytes(std::span(whole.data(), size)), 0, "cut", &fault);
        EXPECT_EQ(image == nullptr, !fault.empty()) << size;
        images += image != nullptr ? 1 : 0;
    }
    EXPECT_EQ(images, 0); // the table of sections stands at the end of the file
}

TEST(Image, bytesInMemoryAnswerLikeTheFile)
{
    const std::string path = ownPath();
    std::string fault;
    const auto image = IModuleImage::create(path.c_str(), 0, true, &fault);
    ASSERT_TRUE(image) << fault;
    EXPECT_EQ(image->getFileSize(), std::filesystem::file_size(path));
    SymMgrObjectPtr<IModuleSymbolBank> copied;
    ASSERT_EQ(IModuleSymbolBank::create(copied, image, nullptr, false, ""), status::success);
    const auto symbols = openBank(path)->getSymbols();
    ASSERT_EQ(copied->getSymbols().size(), symbols.size());
}

TEST(Image, debugLinkHasTheChecksumOfTheToolThatMadeIt)
{
    const std::string path = compile(
        "linked", "-O1 -g",
        "objcopy --only-keep-debug $OUT $OUT.dbg && objcopy --add-gnu-debuglink=$OUT.dbg $OUT");
    const debug_link_t link = openImage(path)->getDebugLink();
    EXPECT_EQ(link.name, "linked.dbg");
    const std::string dump = runTool("readelf --debug-dump=links " + path).text;
    EXPECT_NE(dump.find("CRC value: 0x" + toHex(link.crc)), std::string::npos) << dump;
}

TEST(Vdso, theOneOfThisProcessHasItsFunctions)
{
    const auto base = ::getauxval(AT_SYSINFO_EHDR);
    if (base == 0) GTEST_SKIP() << "the system gives no vdso";
    const auto* first = reinterpret_cast<const std::byte*>(base); // NOLINT
    Elf64_Ehdr header;
    std::memcpy(&header, first, sizeof header);
    // The table of sections stands at its end.
    const std::size_t size = header.e_shoff + std::size_t{header.e_shnum} * header.e_shentsize;
    std::string fault;
    const auto image = IModuleImage::create({first, size}, 0, "[vdso]", &fault);
    ASSERT_TRUE(image) << fault;
    SymMgrObjectPtr<IModuleSymbolBank> bank;
    ASSERT_EQ(IModuleSymbolBank::create(bank, image, nullptr, false, ""), status::success);
    EXPECT_EQ(bank->getImageType(), image_type::relocatable);
    int clocks = 0;
    for (const symbol_t& symbol : bank->getSymbols()) {
        if (std::strcmp(symbol.name, "__vdso_clock_gettime") != 0) continue;
        ++clocks;
        symbol_t found;
        ASSERT_TRUE(bank->findSymbol(symbol.end - 1, found));
        EXPECT_STREQ(found.name, "clock_gettime"); // the weak alias has no underscores
    }
    EXPECT_EQ(clocks, 1);
}

} // namespace
