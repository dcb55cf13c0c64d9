#pragma once

#include <GLYPH_3_30/module_symbol_bank.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <iosfwd>
#include <string>
#include <vector>

// Programs that the tests compile, in many ways, and binaries of the machine.
namespace glyph_test {

/// A binary to ask about.
struct subject_t {
    std::string label;     ///< a word
    std::string flags;     ///< for the compiler; for a binary of the machine, where it is
    std::string compiler;  ///< empty: a binary of the machine
    std::string needs;     ///< a tool without which there is no such binary
    std::string then = {}; ///< a command to run on the binary, which it knows as $OUT
};

std::ostream& operator<<(std::ostream& out, const subject_t& subject);

inline std::string labelOf(const testing::TestParamInfo<subject_t>& info)
{
    return info.param.label;
}

/// What is compiled in all ways, and what the machine has: more of it with GLYPH_TEST_ALL_BINARIES
/// in the environment.
std::vector<subject_t> allSubjects();

/// Path of the binary, made by the first question for it; empty when the machine cannot.
std::string pathOf(const subject_t& subject);
/// Path of a binary made with these flags; empty when the compiler is missing or fails.
std::string compile(const std::string& label, const std::string& flags,
                    const std::string& then = {}, const std::string& compiler = "g++");
/// A folder of this process for files of tests, ending in a slash.
std::string scratch();

GLYPH_3_30::SymMgrObjectPtr<GLYPH_3_30::IModuleImage> openImage(const std::string& path);
/// A bank over the file, or over what `debugFile` adds; fails the test when there is none.
GLYPH_3_30::SymMgrObjectPtr<GLYPH_3_30::IModuleSymbolBank>
openBank(const std::string& path, const std::string& debugFile = {});

struct stretch_t {
    std::uint64_t start = 0;
    std::uint64_t end = 0;
};
/// Executable loadable segments, as readelf tells them.
std::vector<stretch_t> codeOf(const std::string& path);
/// `count` random addresses of each, the same each time.
std::vector<std::uint64_t> addressesOf(const std::vector<stretch_t>& code, int count);

} // namespace glyph_test
