// Separate debug files: which are taken, and that they answer like debug information in the image.

#include "sample_program.h"
#include "tool.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>

namespace {

using namespace GLYPH_3_30;
using namespace glyph_test;

/// A program in three forms: whole, without debug information and symbols, and the rest of that.
class DebugFile : public testing::Test {
protected:
    static std::string build(const std::string& name, const std::string& flags)
    {
        return compile(name, "-O2 -g " + flags,
                       "cp $OUT $OUT.whole && objcopy --only-keep-debug $OUT $OUT.debug && "
                       "strip $OUT && objcopy --add-gnu-debuglink=$OUT.debug $OUT");
    }
    static status_t add(const std::string& image, const std::string& debugFile, std::string& fault)
    {
        SymMgrObjectPtr<IModuleSymbolBank> bank;
        const status_t answer = IModuleSymbolBank::create(bank, openImage(image), nullptr, true,
                                                          debugFile.c_str(), &fault);
        EXPECT_EQ(answer != status::success, bank == nullptr);
        return answer;
    }
    /// Names, files and lines of every seventh address of code.
    static std::vector<std::string> answersOf(const IModuleSymbolBank& bank,
                                              const std::string& path)
    {
        std::vector<std::string> answers;
        std::vector<source_frame_t> frames;
        for (const stretch_t& stretch : codeOf(path))
            for (std::uint64_t at = stretch.start; at < stretch.end; at += 7) {
                symbol_t symbol;
                std::string answer = bank.findSymbol(at, symbol) ? symbol.name : "?";
                bank.findFrames(at, frames);
                for (const source_frame_t& frame : frames)
                    answer += std::string(" ") + frame.function + " " + frame.file + ":" +
                              std::to_string(frame.line);
                answers.push_back(answer);
            }
        return answers;
    }
};

TEST_F(DebugFile, answersLikeTheWholeFileWhenTheBuildIdFits)
{
    const std::string path = build("split", "");
    const auto whole = openBank(path + ".whole");
    const auto split = openBank(path, path + ".debug");
    const auto answers = answersOf(*split, path);
    EXPECT_EQ(answers, answersOf(*whole, path));
    EXPECT_GT(std::count_if(answers.begin(), answers.end(),
                            [](const std::string& answer) {
                                return answer.find("sample.h:") != std::string::npos;
                            }),
              50);
    EXPECT_TRUE(split->getFaults().empty());
}

TEST_F(DebugFile, isTakenByItsChecksumWhereThereIsNoBuildId)
{
    const std::string path = build("withoutId", "-Wl,--build-id=none");
    const auto answers = answersOf(*openBank(path, path + ".debug"), path);
    EXPECT_EQ(answers, answersOf(*openBank(path + ".whole"), path));
}

TEST_F(DebugFile, isRefusedWhenTheBuildIdDiffers)
{
    const std::string path = build("one", "");
    const std::string other = build("other", "-DOTHER -O1");
    std::string fault;
    EXPECT_EQ(add(path, other + ".debug", fault), status::refused);
    EXPECT_EQ(fault, other + ".debug: it has the build id " + openImage(other)->getBuildId() +
                         " instead of " + openImage(path)->getBuildId());
}

TEST_F(DebugFile, isRefusedWhenTheChecksumDiffers)
{
    const std::string path = build("crc", "-Wl,--build-id=none");
    std::ofstream(path + ".debug", std::ios::app) << "x";
    std::string fault;
    EXPECT_EQ(add(path, path + ".debug", fault), status::refused);
    EXPECT_EQ(fault, path + ".debug: its checksum is not that of the image's debug link");
}

TEST_F(DebugFile, isRefusedWhenNothingTiesItToTheImage)
{
    const std::string path = compile("loose", "-Wl,--build-id=none");
    std::string fault;
    EXPECT_EQ(add(path, path, fault), status::refused);
    EXPECT_EQ(fault,
              path + ": nothing tells whether it belongs to the image: no build id, no debug link");
}

TEST_F(DebugFile, isRefusedAfterTheFirstQuestion)
{
    const std::string path = build("late", "");
    const auto bank = openBank(path);
    ASSERT_FALSE(bank->getSymbols().empty());
    EXPECT_EQ(bank->addDebugFile((path + ".debug").c_str()), status::tooLate);
}

TEST_F(DebugFile, failsTheCreationWhenItIsMissing)
{
    std::string fault;
    EXPECT_EQ(add(build("alone", ""), scratch() + "missing", fault), status::refused);
    EXPECT_EQ(fault, scratch() + "missing: cannot be opened: No such file or directory");
}

/// Offers files, and notes what it was asked for.
class Offers : public ISymbolFileResolver {
public:
    std::vector<std::string> find(const symbol_file_request_t& request) override
    {
        requests.push_back(request);
        return paths;
    }
    std::vector<std::string> paths;
    std::vector<symbol_file_request_t> requests;
};

TEST_F(DebugFile, ofAResolverTheFirstThatFitsIsTaken)
{
    const std::string path = build("resolved", "");
    const std::string other = build("unfit", "-O1");
    const auto offers = boost::intrusive_ptr(new toolbelt2::ref_counted_t<Offers>());
    offers->paths = {scratch() + "missing", other + ".debug", path + ".debug"};
    SymMgrObjectPtr<IModuleSymbolBank> bank;
    ASSERT_EQ(IModuleSymbolBank::create(bank, openImage(path), offers, true, ""), status::success);
    EXPECT_TRUE(offers->requests.empty()); // nobody has asked for a symbol yet
    EXPECT_EQ(answersOf(*bank, path), answersOf(*openBank(path + ".whole"), path));
    ASSERT_EQ(offers->requests.size(), 1u);
    EXPECT_EQ(offers->requests[0].imagePath, path);
    EXPECT_EQ(offers->requests[0].buildId, openImage(path)->getBuildId());
    EXPECT_EQ(offers->requests[0].debugLink.name, "resolved.debug");
    EXPECT_EQ(bank->getFaults().size(), 2u);
}

TEST_F(DebugFile, aCompressedTableInTheImageNamesLocalFunctions)
{
    // Made as distributions do it: the symbols that the dynamic table lacks, packed into a section.
    const std::string path =
        compile("mini", "-O2",
                "cp $OUT $OUT.whole; objcopy --only-keep-debug $OUT $OUT.sym && "
                "xz -k $OUT.sym && strip $OUT && "
                "objcopy --add-section .gnu_debugdata=$OUT.sym.xz $OUT");
    if (path.empty()) GTEST_SKIP() << "xz is not there";
    const auto bank = openBank(path);
    const auto whole = openBank(path + ".whole");
    int mini = 0;
    for (const symbol_t& symbol : whole->getSymbols()) {
        symbol_t found;
        ASSERT_TRUE(bank->findSymbol(symbol.start, found)) << symbol.name;
        mini += found.origin == symbol_origin_t::miniTable ? 1 : 0;
    }
    EXPECT_GT(mini, 5);
    EXPECT_TRUE(bank->getFaults().empty());
}

TEST_F(DebugFile, aSharedDebugFileGivesItsTexts)
{
    // A unit whose function has its name in the other file.
    std::ofstream(scratch() + "shared.s") << R"(
        .section .debug_str,"MS",@progbits,1
        .string "x"
        .string "named_elsewhere"
        .section .debug_info,"",@progbits
        .long 7
        .value 4
        .long 0
        .byte 8
        .section .debug_abbrev,"",@progbits
        .byte 0
        .section .note.id,"a",@note
        .long 4, 4, 3
        .string "GNU"
        .byte 0xaa, 0xbb, 0xcc, 0xdd
        .text
        .globl _start
        _start: nop
)";
    std::ofstream(scratch() + "user.s") << R"(
        .text
        .globl _start
        .type _start, @function
        _start: nop
        nop
        .size _start, .-_start
        end_of_text:
        .section .debug_info,"",@progbits
        .long end_of_unit - start_of_unit
        start_of_unit:
        .value 4
        .long 0
        .byte 8
        .uleb128 1
        .quad _start
        .quad end_of_text - _start
        .uleb128 2
        .quad _start
        .quad end_of_text - _start
        .long 2
        .byte 0
        end_of_unit:
        .section .debug_abbrev,"",@progbits
        .uleb128 1, 0x11
        .byte 1
        .uleb128 0x11, 0x01, 0x12, 0x07, 0, 0
        .uleb128 2, 0x2e
        .byte 0
        .uleb128 0x11, 0x01, 0x12, 0x07, 0x03, 0x1f21, 0, 0
        .byte 0
        .section .gnu_debugaltlink,"",@progbits
        .string "shared.elf"
        .byte 0xaa, 0xbb, 0xcc, 0xdd
)";
    ASSERT_TRUE(runTool("cd " + scratch() +
                        " && for n in shared user; do as $n.s -o $n.o && "
                        "ld --build-id=none $n.o -o $n.elf || exit 1; done")
                    .isGood);
    const auto nameAtStart = [](const IModuleSymbolBank& bank) {
        std::vector<source_frame_t> frames;
        EXPECT_TRUE(bank.findFrames(codeOf(scratch() + "user.elf").at(0).start, frames));
        return frames.empty() ? std::string() : std::string(frames[0].function);
    };
    const auto bank = openBank(scratch() + "user.elf");
    EXPECT_EQ(nameAtStart(*bank), "named_elsewhere");
    EXPECT_TRUE(bank->getFaults().empty());
    // Without it the name is unknown, and the symbol's takes its place.
    std::filesystem::remove(scratch() + "shared.elf");
    const auto without = openBank(scratch() + "user.elf");
    EXPECT_EQ(nameAtStart(*without), "_start");
    EXPECT_EQ(without->getFaults().size(), 1u);
}

} // namespace
