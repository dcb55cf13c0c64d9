#include "sample_program.h"

#include "support/temporary_folder.h"
#include "tool.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <ostream>
#include <random>

namespace glyph_test {
namespace {

using namespace GLYPH_3_30;

/// Inlined functions over two files, templates, lambdas, constructors, aliases, cold parts, code
/// without types and sizes, indirect functions, calls through the linkage table.
constexpr std::string_view g_header = R"(
#pragma once
#include <cstdlib>
#include <string>
#include <vector>
template <class T> [[gnu::always_inline]] inline T twice(T value)
{
    if (value > 1000)
        value = value / 3 + std::rand();
    return value * 2;
}
[[gnu::always_inline]] inline long mixed(long a, long b)
{
    long sum = 0;
    for (long i = 0; i < b; ++i)
        sum += twice(a + i) ^ (sum << 1);
    return sum;
}
struct shape_t {
    explicit shape_t(long size) : m_sides(static_cast<std::size_t>(size) % 7 + 1, size) {}
    virtual ~shape_t() = default;
    virtual long area() const { return mixed(m_sides.front(), 3); }
    std::vector<long> m_sides;
};
)";

constexpr std::string_view g_source = R"(
#include "sample.h"
#include <algorithm>
#include <cstdio>
#include <map>
#include <stdexcept>

namespace {
long local(long a) __attribute__((noinline));
long local(long a) { return mixed(a, a & 15); }
struct square_t : shape_t {
    using shape_t::shape_t;
    long area() const override
    {
        long sum = 0;
        std::for_each(m_sides.begin(), m_sides.end(), [&](long side) { sum += mixed(side, 5); });
        return sum;
    }
};
} // namespace

extern "C" {
__attribute__((noinline)) long exported(long a) { return local(a) + mixed(a, 9); }
long __exported(long) __attribute__((alias("exported")));
long weakly(long) __attribute__((weak, alias("exported")));
}

static long plain(long a) { return a + 1; }
extern "C" {
using function_t = long (*)(long);
function_t choose() { return plain; }
long chosen(long) __attribute__((ifunc("choose")));
}

asm(".text\n"
    ".globl bare_label\nbare_label:\n nop\n nop\n"
    ".type unsized, @function\n.globl unsized\nunsized:\n nop\n ret\n"
    "local_label:\n nop\n nop\n ret\n"
    ".type sized, @function\nsized:\n nop\n"
    "inside_label:\n nop\n ret\n.size sized, .-sized\n nop\n nop\n");

long fallible(long a)
{
    if (a == 12345) throw std::runtime_error("no " + std::to_string(a));
    return mixed(a, 4);
}

int main(int count, char** words)
{
    std::map<std::string, long> known;
    long sum = chosen(count);
    for (int i = 0; i < count; ++i) {
        known[words[i]] += exported(i) + fallible(i);
        sum += square_t(i + 2).area();
    }
    for (const auto& [word, number] : known)
        std::printf("%s %ld\n", word.c_str(), number + weakly(sum));
    return 0;
}
)";

const samplefold_test::TemporaryFolder& folder()
{
    static const samplefold_test::TemporaryFolder s_folder;
    return s_folder;
}

std::string make(const std::string& compiler, const std::string& flags, const std::string& out,
                 const std::string& then)
{
    const std::string source = folder().path("sample.cpp");
    if (!std::filesystem::exists(source)) {
        folder().addFile("sample.h", g_header);
        folder().addFile("sample.cpp", g_source);
    }
    const std::string command = compiler + " -std=c++17 -w " + flags + " -o " + out + " " + source;
    const bool isMade =
        runTool(command).isGood && (then.empty() || runTool("OUT=" + out + "; " + then).isGood);
    EXPECT_TRUE(isMade) << command << "; " << then;
    return isMade ? out : std::string();
}

// What stands in the place of a path.
constexpr const char* g_command = "command ";
constexpr const char* g_vdso = "vdso";
constexpr const char* g_ownSources = "own sources";

/// Copies the code that the kernel maps into every process to a file.
std::string dumpVdso()
{
    std::ifstream maps("/proc/self/maps");
    for (std::string line; std::getline(maps, line);) {
        if (line.find("[vdso]") == std::string::npos) continue;
        const std::uint64_t start = fromHex(line);
        const std::uint64_t end = fromHex(line.substr(line.find('-') + 1));
        std::ofstream out(folder().path(g_vdso), std::ios::binary);
        out.write(reinterpret_cast<const char*>(start), static_cast<std::streamsize>(end - start));
        return folder().path(g_vdso);
    }
    return {};
}

/// A shared object of sources of this tree, with debug information.
std::string makeOwnSources()
{
    const std::string out = folder().path("ownSources");
    return runTool("cd " GLYPH_TEST_SOURCES "/src && g++ -std=c++20 -O2 -g -fPIC -shared "
                   "-I ../include -I ../../toolbelt2/include -I ../../PORTA_2_18/include -o " +
                   out +
                   " bank_impl.cpp debug_info.cpp interval_map.cpp layout.cpp linkage_reader.cpp "
                   "notes.cpp symbol_reader.cpp symbol_table.cpp unit_lines.cpp unit_scopes.cpp")
                   .isGood
               ? out
               : std::string();
}

std::string pathOfMachine(const std::string& what)
{
    if (what == g_vdso) return dumpVdso();
    if (what == g_ownSources) return makeOwnSources();
    if (what.empty()) return std::filesystem::read_symlink("/proc/self/exe");
    const bool isCommand = what.starts_with(g_command);
    std::string question = isCommand ? "command -v " + what.substr(std::strlen(g_command))
                                     : "g++ -print-file-name=" + what;
    const auto found = linesOf(runTool(question).text);
    if (found.empty() || !std::filesystem::exists(found[0])) return {};
    return std::filesystem::canonical(found[0]);
}

} // namespace

std::ostream& operator<<(std::ostream& out, const subject_t& subject)
{
    return out << subject.label;
}

std::vector<subject_t> allSubjects()
{
    const std::string o2 = "-O2 -g ";
    std::vector<subject_t> subjects = {
        {"pie", o2 + "-fPIE -pie", "g++", ""},
        {"fixed", o2 + "-fno-pie -no-pie", "g++", ""},
        {"unoptimised", "-O0 -g", "g++", ""},
        {"sharedObject", o2 + "-fPIC -shared", "g++", ""},
        {"statically", o2 + "-static", "g++", ""},
        {"staticPie", o2 + "-static-pie", "g++", ""},
        {"highBase", o2 + "-no-pie -Wl,-Ttext-segment=0x10000000", "g++", ""},
        {"sharedWithBase", o2 + "-fPIC -shared -Wl,-Ttext-segment=0x7000000", "g++", ""},
        {"boundNow", o2 + "-Wl,-z,now", "g++", ""},
        {"boundLazily", o2 + "-Wl,-z,lazy", "g++", ""},
        {"guardedCalls", o2 + "-fcf-protection -Wl,-z,lazy,-z,ibtplt", "g++", ""},
        {"collected", o2 + "-ffunction-sections -Wl,--gc-sections", "g++", ""},
        {"linkTime", o2 + "-flto", "g++", ""},
        {"dwarf4", o2 + "-gdwarf-4", "g++", ""},
        {"compressed", o2 + "-gz=zlib", "g++", ""},
        {"compressedOldWay", o2 + "-gz=zlib-gnu", "g++", ""},
        {"stripped", o2, "g++", "strip", "strip $OUT"},
        {"separateDebugFile", o2, "g++", "objcopy",
         "objcopy --only-keep-debug $OUT $OUT.debug; strip $OUT; "
         "objcopy --add-gnu-debuglink=$OUT.debug $OUT"},
        {"gold", o2 + "-fuse-ld=gold", "g++", "ld.gold"},
        {"lld", o2 + "-fuse-ld=lld", "g++", "ld.lld"},
        {"lldFixed", o2 + "-no-pie -fuse-ld=lld", "g++", "ld.lld"},
        {"mold", o2 + "-fuse-ld=mold", "g++", "mold"},
        {"clang", o2, "clang++", "clang++"},
        {"clangDwarf4", o2 + "-gdwarf-4", "clang++", "clang++"},
        {"libc", "libc.so.6", "", ""},
        {"libstdcxx", "libstdc++.so.6", "", ""},
        {"libm", "libm.so.6", "", ""},
        {"dynamicLinker", "ld-linux-x86-64.so.2", "", ""},
        {"thisProgram", "", "", ""},
        {"vdso", g_vdso, "", ""},
    };
    if (std::getenv("GLYPH_TEST_ALL_BINARIES") == nullptr) return subjects;
    subjects.push_back({"ownSources", g_ownSources, "", ""});
    for (const char* name :
         {"bash", "cmake", "gdb", "git", "ld", "openssl", "perf", "perl", "python3", "sqlite3"})
        subjects.push_back({name, std::string(g_command) + name, "", name});
    for (const auto& [label, file] : {std::pair{"libcrypto", "libcrypto.so"},
                                      {"libdw", "libdw.so"},
                                      {"libgcc", "libgcc_s.so.1"}})
        subjects.push_back({label, file, "", ""});
    return subjects;
}

std::string pathOf(const subject_t& subject)
{
    static std::map<std::string, std::string> s_paths;
    const auto [place, isNew] = s_paths.try_emplace(subject.label);
    if (!isNew) return place->second;
    if (!subject.needs.empty() && !runTool("command -v " + subject.needs).isGood) return {};
    // A command may be a script that calls the program.
    const bool isCommand = subject.flags == std::string(g_command) + subject.needs;
    const std::string isImage = "head -c 4 \"$(command -v " + subject.needs + ")\" | grep -q ELF";
    if (isCommand && !runTool(isImage).isGood) return {};
    if (!subject.compiler.empty()) {
        place->second =
            make(subject.compiler, subject.flags, folder().path(subject.label), subject.then);
    } else {
        place->second = pathOfMachine(subject.flags);
    }
    return place->second;
}

std::string compile(const std::string& label, const std::string& flags, const std::string& then,
                    const std::string& compiler)
{
    return make(compiler, flags, folder().path(label), then);
}

std::string scratch()
{
    return folder().path() + "/";
}

SymMgrObjectPtr<IModuleImage> openImage(const std::string& path)
{
    std::string fault;
    SymMgrObjectPtr<IModuleImage> image = IModuleImage::create(path.c_str(), 0, false, &fault);
    EXPECT_TRUE(image) << fault;
    return image;
}

SymMgrObjectPtr<IModuleSymbolBank> openBank(const std::string& path, const std::string& debugFile)
{
    std::string fault;
    SymMgrObjectPtr<IModuleSymbolBank> bank;
    EXPECT_EQ(
        IModuleSymbolBank::create(bank, openImage(path), nullptr, true, debugFile.c_str(), &fault),
        status::success)
        << fault;
    return bank;
}

std::vector<stretch_t> codeOf(const std::string& path)
{
    std::vector<stretch_t> code;
    for (const std::string& line : linesOf(runTool("readelf -lW " + path).text)) {
        const std::vector<std::string> words = wordsOf(line);
        if (words.size() < 7 || words[0] != "LOAD") continue;
        const std::uint64_t start = fromHex(words[2]);
        if (line.find(" E ") != std::string::npos || line.find("RWE ") != std::string::npos)
            code.push_back({start, start + fromHex(words[5])});
    }
    return code;
}

std::vector<std::uint64_t> addressesOf(const std::vector<stretch_t>& code, int count)
{
    std::mt19937_64 random(20240229);
    std::vector<std::uint64_t> addresses;
    for (const stretch_t& stretch : code)
        for (int i = 0; i < count; ++i)
            addresses.push_back(std::uniform_int_distribution<std::uint64_t>(
                stretch.start, stretch.end - 1)(random));
    return addresses;
}

} // namespace glyph_test
