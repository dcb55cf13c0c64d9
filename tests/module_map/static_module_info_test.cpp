#include "support/log_capture.h"
#include "support/native_image_file.h"
#include "support/temporary_folder.h"

#include <samplefold_1/static_module_info.h>

#include <rowvault1/result.h>

#include <elf.h>
#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace samplefold_1 {
namespace {

using rowvault1::Index;
using tb2::variant_t;

/// A program header of a made image.
struct segment_t {
    std::uint32_t type;
    std::uint64_t offset;
    std::uint64_t address;
    std::uint64_t fileSize;
    std::uint64_t memorySize;
};

/// The bytes of an image that has program headers and nothing else.
std::string imageOf(std::uint16_t type, const std::vector<segment_t>& segments)
{
    Elf64_Ehdr header{};
    std::memcpy(header.e_ident, ELFMAG, SELFMAG);
    header.e_ident[EI_CLASS] = ELFCLASS64;
    header.e_ident[EI_DATA] = ELFDATA2LSB;
    header.e_ident[EI_VERSION] = EV_CURRENT;
    header.e_type = type;
    header.e_machine = EM_X86_64;
    header.e_version = EV_CURRENT;
    header.e_phoff = sizeof header;
    header.e_ehsize = sizeof header;
    header.e_phentsize = sizeof(Elf64_Phdr);
    header.e_phnum = static_cast<std::uint16_t>(segments.size());
    header.e_shentsize = sizeof(Elf64_Shdr);
    std::string bytes(reinterpret_cast<const char*>(&header), sizeof header);
    for (const segment_t& segment : segments) {
        Elf64_Phdr entry{};
        entry.p_type = segment.type;
        entry.p_offset = segment.offset;
        entry.p_vaddr = segment.address;
        entry.p_filesz = segment.fileSize;
        entry.p_memsz = segment.memorySize;
        entry.p_flags = PF_R | PF_X;
        entry.p_align = 1;
        bytes.append(reinterpret_cast<const char*>(&entry), sizeof entry);
    }
    return bytes + std::string(0x4000, '\0');
}

std::string outputOf(const std::string& command)
{
    std::string output;
    std::array<char, 4096> buffer{};
    std::FILE* const pipe = ::popen(command.c_str(), "r");
    while (std::fgets(buffer.data(), buffer.size(), pipe) != nullptr)
        output += buffer.data();
    ::pclose(pipe);
    return output;
}

class StaticModuleInfo : public ::testing::Test {
protected:
    Index addRow(const char* table, std::uint16_t column, const variant_t& value)
    {
        const rowvault1::OrphanRecord record =
            result->database()->getAttributeTable(table)->createOrphanRecord();
        record[column] = value;
        Index key;
        record.commit(key, 0, 0);
        return key;
    }
    /// A segment instance whose segment is of the module row.
    Index instanceOf(Index module)
    {
        const Index segment = addRow("dd_module_segment", 0, variant_t(module.value()));
        return addRow("dd_segment_instance", 0, variant_t(segment.value()));
    }
    void setSegment(Index instance, Index segment)
    {
        const rowvault1::StoredRecord row(
            result->database()->getAttributeTable("dd_segment_instance")->getRecord(instance));
        row[0] = variant_t(segment.value());
    }
    std::uint64_t offset(Index instance, const std::string& path, std::uint64_t inFile)
    {
        return cache.getOffsetFromModuleLoadAddress(instance, path, inFile);
    }
    /// What is logged at debug level when the file is looked up for the module row 1.
    std::vector<std::string> logOf(const std::string& path)
    {
        const samplefold_test::LogCapture log(log4cplus::DEBUG_LOG_LEVEL);
        cache.getModuleInfo(Index(1), path);
        std::vector<std::string> texts;
        for (const auto& entry : log.entries()) {
            EXPECT_EQ(entry.level, 10000);
            texts.push_back(entry.text);
        }
        return texts;
    }

    samplefold_test::TemporaryFolder folder;
    std::string resultFolder = folder.path("result");
    tb2::sptr_t<rowvault1::IResult> result =
        rowvault1::openResult(resultFolder, rowvault1::open_mode_t::create);
    StaticModuleInfoCache cache{result->database(), resultFolder};
};

TEST_F(StaticModuleInfo, SegmentsOfAProgramAreThoseThatReadelfLists)
{
    const std::string program = std::filesystem::read_symlink("/proc/self/exe");
    const static_module_info_t& info = cache.getModuleInfo(Index(1), program);
    EXPECT_EQ(info.path, program);
    std::size_t listed = 0;
    std::istringstream lines(outputOf("readelf -lW '" + program + "'"));
    for (std::string line; std::getline(lines, line);) {
        std::istringstream words(line);
        std::string type;
        std::uint64_t inFile = 0, address = 0, physical = 0, fileSize = 0, memorySize = 0;
        words >> type >> std::hex >> inFile >> address >> physical >> fileSize >> memorySize;
        if (type != "LOAD") continue;
        ++listed;
        ASSERT_TRUE(info.segments.contains(inFile)) << line;
        const static_module_segment_attrs_t& segment = info.segments.at(inFile).front();
        EXPECT_EQ(segment.fileSize, fileSize) << line;
        EXPECT_EQ(segment.memorySize, memorySize) << line;
        EXPECT_EQ(segment.offsetFromLoadAddress + info.preferredLoadAddress, address) << line;
    }
    EXPECT_GE(listed, 2U) << "readelf says nothing";
    EXPECT_EQ(info.segments.size(), listed);
}

TEST_F(StaticModuleInfo, TheClassTellsProgramsForOneAddressApart)
{
    const std::vector<segment_t> segments{{PT_LOAD, 0, 0x400000, 0x1000, 0x1000}};
    const std::string fixed = folder.addFile("fixed", imageOf(ET_EXEC, segments));
    const std::string movable = folder.addFile("movable", imageOf(ET_DYN, segments));
    EXPECT_EQ(cache.getModuleInfo(Index(1), fixed).imageClass, 1);
    EXPECT_EQ(cache.getModuleInfo(Index(2), movable).imageClass, 2);
    EXPECT_EQ(cache.getModuleInfo(Index(1), fixed).preferredLoadAddress, 0x400000U);
}

TEST_F(StaticModuleInfo, OnlyLoadableSegmentsAreKept)
{
    const std::string path = folder.addFile(
        "m", imageOf(ET_DYN, {{PT_LOAD, 0, 0, 0x1000, 0x1000}, {PT_NOTE, 0x800, 0x800, 16, 16}}));
    EXPECT_EQ(cache.getModuleInfo(Index(1), path).segments.size(), 1U);
}

TEST_F(StaticModuleInfo, SegmentsOfOneOffsetStandUnderOneKeyInTheOrderOfTheFile)
{
    const std::string path =
        folder.addFile("m", imageOf(ET_DYN, {{PT_LOAD, 0, 0, 0x100, 0x100},
                                             {PT_LOAD, 0x1000, 0x5000, 0x10, 0x10},
                                             {PT_LOAD, 0x1000, 0x9000, 0x80, 0x80}}));
    const auto& segments = cache.getModuleInfo(Index(1), path).segments;
    ASSERT_EQ(segments.size(), 2U);
    ASSERT_EQ(segments.at(0x1000).size(), 2U);
    EXPECT_EQ(segments.at(0x1000)[0].offsetFromLoadAddress, 0x5000U);
    EXPECT_EQ(segments.at(0x1000)[1].offsetFromLoadAddress, 0x9000U);
    const Index instance = instanceOf(Index(1));
    EXPECT_EQ(offset(instance, path, 0x1008), 0x5008U) << "the first that has the byte";
    EXPECT_EQ(offset(instance, path, 0x1020), 0x9020U);
}

TEST_F(StaticModuleInfo, TheByteBehindASegmentInTheFileIsOutsideIt)
{
    const std::string path =
        folder.addFile("m", imageOf(ET_DYN, {{PT_LOAD, 0x1000, 0x5000, 0x10, 0x900}}));
    const Index instance = instanceOf(addRow("dd_module_file", 0, variant_t("m")));
    EXPECT_EQ(offset(instance, path, 0x100f), 0xfU)
        << "the lowest segment is where the module is loaded";
    EXPECT_EQ(offset(instance, path, 0x1010), 0U) << "though memory goes on";
}

TEST_F(StaticModuleInfo, AByteBelowEverySegmentHasNoOffset)
{
    const std::string path = folder.addFile(
        "m", imageOf(ET_DYN, {{PT_LOAD, 0, 0, 0x10, 0x10}, {PT_LOAD, 0x1000, 0x5000, 0x10, 0x10}}));
    const std::string high =
        folder.addFile("h", imageOf(ET_DYN, {{PT_LOAD, 0x1000, 0x5000, 0x10, 0x10}}));
    EXPECT_EQ(offset(instanceOf(Index(1)), high, 0xfff), 0U);
    EXPECT_EQ(offset(instanceOf(Index(2)), path, 0x800), 0U) << "between two it is in none";
    EXPECT_EQ(offset(instanceOf(Index(2)), path, 0x1001), 0x5001U);
}

TEST_F(StaticModuleInfo, ASegmentInstanceWithoutASegmentIsAskedForOnce)
{
    const std::string path =
        folder.addFile("m", imageOf(ET_DYN, {{PT_LOAD, 0, 0, 0x1000, 0x1000}}));
    const Index instance = addRow("dd_segment_instance", 0, variant_t());
    EXPECT_EQ(offset(instance, path, 0x10), 0U);
    setSegment(instance, addRow("dd_module_segment", 0, variant_t(1)));
    EXPECT_EQ(offset(instance, path, 0x10), 0U) << "the row was not read again";
}

TEST_F(StaticModuleInfo, LookingUpASegmentInstanceWithoutASegmentKeepsNothing)
{
    const std::string path =
        folder.addFile("m", imageOf(ET_DYN, {{PT_LOAD, 0, 0, 0x1000, 0x1000}}));
    const Index instance = addRow("dd_segment_instance", 0, variant_t());
    cache.resolveStaticModuleInfo(instance, path, Index());
    setSegment(instance, addRow("dd_module_segment", 0, variant_t(1)));
    EXPECT_EQ(offset(instance, path, 0x10), 0x10U) << "the row was read again";
}

TEST_F(StaticModuleInfo, ALongSegmentUnderALowerOffsetIsNotTried)
{
    const std::string path = folder.addFile(
        "m",
        imageOf(ET_DYN, {{PT_LOAD, 0, 0, 0x2000, 0x2000}, {PT_LOAD, 0x1000, 0x5000, 0x10, 0x10}}));
    const Index instance = instanceOf(Index(1));
    EXPECT_EQ(offset(instance, path, 0x800), 0x800U);
    EXPECT_EQ(offset(instance, path, 0x1800), 0U);
}

TEST_F(StaticModuleInfo, AModuleIsReadOnceThoughItsFileChanges)
{
    const std::string path =
        folder.addFile("m", imageOf(ET_DYN, {{PT_LOAD, 0, 0, 0x1000, 0x1000}}));
    EXPECT_EQ(cache.getModuleInfo(Index(1), path).segments.at(0).front().fileSize, 0x1000U);
    folder.addFile("m", imageOf(ET_DYN, {{PT_LOAD, 0, 0, 0x20, 0x20}}));
    EXPECT_EQ(cache.getModuleInfo(Index(1), path).segments.at(0).front().fileSize, 0x1000U);
    EXPECT_EQ(cache.getModuleInfo(Index(2), path).segments.at(0).front().fileSize, 0x20U)
        << "another row is another module";
}

TEST_F(StaticModuleInfo, AFileThatCannotBeOpenedAsAnImageHasAPathAndNoSegments)
{
    const std::string path = folder.addFile("m", samplefold_test::nativeImageBytes());
    EXPECT_EQ(logOf(path),
              std::vector<std::string>{"Failed to create moduleImage for " + path + " module!"});
    const static_module_info_t& info = cache.getModuleInfo(Index(1), path);
    EXPECT_TRUE(info.resolved);
    EXPECT_EQ(info.path, path);
    EXPECT_EQ(info.imageClass, 0);
    EXPECT_TRUE(info.segments.empty());
    EXPECT_EQ(offset(instanceOf(Index(1)), path, 0), 0U);
}

TEST_F(StaticModuleInfo, TheLayoutIsLoggedAsATableWithAnEmptyLineBehindIt)
{
    const std::string path =
        folder.addFile("m", imageOf(ET_EXEC, {{PT_LOAD, 0, 0x400000, 0x100, 0x100},
                                              {PT_NOTE, 0x800, 0x400800, 16, 16},
                                              {PT_LOAD, 0x1000, 0x405000, 0x10, 0x900}}));
    EXPECT_EQ(logOf(path), (std::vector<std::string>{
                               "Preferred load address for " + path + ": 4194304",
                               "* offsetInFile = 0               offsetFromLoadAddress = 0         "
                               "             fileSize = 256         memorySize = 256",
                               "* offsetInFile = 4096            offsetFromLoadAddress = 20480     "
                               "             fileSize = 16          memorySize = 2304",
                               ""}));
    EXPECT_EQ(logOf(path), std::vector<std::string>{}) << "it is read once";
}

TEST_F(StaticModuleInfo, NoInstanceGivesNoOffset)
{
    EXPECT_EQ(offset(Index(), "/bin/sh", 0x10), 0U);
}

TEST_F(StaticModuleInfo, AModuleThatWasNotFoundStaysUnknown)
{
    const std::string path = folder.path("late");
    EXPECT_TRUE(cache.getModuleInfo(Index(1), path).resolved);
    EXPECT_EQ(cache.getModuleInfo(Index(1), path).path, "");
    folder.addFile("late", imageOf(ET_DYN, {{PT_LOAD, 0, 0, 0x1000, 0x1000}}));
    EXPECT_EQ(cache.getModuleInfo(Index(1), path).path, "");
    EXPECT_EQ(cache.getModuleInfo(Index(2), path).path, "")
        << "nor for another row of that path: the answer was remembered";
}

TEST_F(StaticModuleInfo, AnIndexThatIsNoRowHasARecordThatIsNeverResolved)
{
    EXPECT_FALSE(cache.getModuleInfo(Index(), "/bin/sh").resolved);
}

TEST_F(StaticModuleInfo, WithoutADatabaseNothingIsFound)
{
    StaticModuleInfoCache none(nullptr, resultFolder);
    const std::string program = std::filesystem::read_symlink("/proc/self/exe");
    EXPECT_EQ(none.getModuleInfo(Index(1), program).path, "");
    EXPECT_EQ(none.getOffsetFromModuleLoadAddress(Index(1), program, 0x40), 0U);
}

} // namespace
} // namespace samplefold_1
