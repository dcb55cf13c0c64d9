// ELF files that somebody broke: a refusal, in little memory and time.

#include "sample_elf.h"

#include <SEEK_2_13/validators.h>

#include <gtest/gtest.h>

#include <elf.h>
#include <sys/resource.h>

#include <cstring>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

namespace {

using SEEK_2_13::IBinFileArchValidatorCallback;
using SEEK_2_13::IErrorInfoContainer;
using SEEK_2_13::ISymbolFileValidatorCallback;
namespace architecture = SEEK_2_13::architecture;
using seek_test::SampleElf;

class HostileElf : public testing::Test {
protected:
    /// The build id, "none" without one, "refused" when the file is no binary that can be read.
    std::string idOf(const std::string& bytes, std::uintmax_t size = 0) const
    {
        // A file that is written over would be flushed to the disk each time.
        std::filesystem::remove(folder.path("hostile"));
        const std::string path = folder.addFile("hostile", bytes);
        if (size != 0) std::filesystem::resize_file(path, size);
        const auto validator = ISymbolFileValidatorCallback::create(path.c_str());
        const auto errors = IErrorInfoContainer::create();
        IBinFileArchValidatorCallback::create(architecture::any)->validate(path.c_str(), *errors);
        if (!validator) return "refused";
        validator->validate(path.c_str(), *errors);
        return *validator->getBuildId() != '\0' ? validator->getBuildId() : "none";
    }
    template <class Record>
    static std::string changed(std::string bytes, std::size_t offset, const Record& record)
    {
        bytes.replace(offset, sizeof record,
                      std::string(reinterpret_cast<const char*>(&record), sizeof record));
        return bytes;
    }
    static Elf64_Ehdr headOf(const std::string& bytes)
    {
        Elf64_Ehdr head;
        std::memcpy(&head, bytes.data(), sizeof head);
        return head;
    }
    /// Largest resident size of this process so far.
    static long peakKilobytes()
    {
        rusage usage = {};
        ::getrusage(RUSAGE_SELF, &usage);
        return usage.ru_maxrss;
    }

    samplefold_test::TemporaryFolder folder;
    const std::string good = SampleElf::withId(SampleElf::rightId);
};

TEST_F(HostileElf, cutAnywhereItIsRefusedOrHasItsOwnId)
{
    EXPECT_EQ(idOf(good), SampleElf::rightId);
    for (std::size_t size = 0; size < good.size(); size += size < 1100 ? 1 : 97) {
        const std::string id = idOf(good.substr(0, size));
        EXPECT_TRUE(id == "refused" || id == "none" || id == SampleElf::rightId) << size << id;
    }
    EXPECT_EQ(idOf(good.substr(0, 63)), "refused");
    EXPECT_EQ(idOf(good.substr(0, good.size() - 1)), "refused");
}

TEST_F(HostileElf, aSectionTableOutsideOfTheFileIsRefused)
{
    for (const Elf64_Off offset : {Elf64_Off{good.size()}, Elf64_Off{1} << 40, ~Elf64_Off{0}}) {
        Elf64_Ehdr head = headOf(good);
        head.e_shoff = offset;
        EXPECT_EQ(idOf(changed(good, 0, head)), "refused") << offset;
    }
}

TEST_F(HostileElf, aHugeNumberOfSectionsInASparseFileTakesNoMemory)
{
    Elf64_Ehdr head = headOf(good);
    const Elf64_Off table = head.e_shoff;
    head.e_shnum = 0; // the number is in the first section
    Elf64_Shdr first = {};
    for (const Elf64_Xword count :
         {Elf64_Xword{1} << 22, Elf64_Xword{1} << 28, Elf64_Xword{1} << 32, ~Elf64_Xword{0}}) {
        first.sh_size = count;
        const std::string bytes = changed(changed(good, 0, head), table, first);
        const long before = peakKilobytes();
        EXPECT_EQ(idOf(bytes, std::uintmax_t{1} << 42), "refused") << count;
        EXPECT_LT(peakKilobytes() - before, 64 * 1024);
    }
}

TEST_F(HostileElf, manyNotesOverNearlyTheSameBytesTakeLittleMemory)
{
    constexpr std::size_t count = 60000;
    Elf64_Ehdr head = headOf(good);
    head.e_shoff = 0;
    head.e_shnum = 0;
    head.e_phoff = sizeof head;
    head.e_phnum = count;
    Elf64_Phdr note = {};
    note.p_type = PT_NOTE;
    note.p_offset = sizeof head;
    note.p_filesz = 1 << 20;
    note.p_align = 4;
    std::string bytes(sizeof head + count * sizeof note, '\0');
    bytes = changed(std::move(bytes), 0, head);
    for (std::size_t i = 0; i < count; ++i) {
        note.p_offset += 4; // each another piece, so that none is kept for the next
        bytes.replace(sizeof head + i * sizeof note, sizeof note,
                      reinterpret_cast<const char*>(&note), sizeof note);
    }
    const long before = peakKilobytes();
    EXPECT_EQ(idOf(bytes), "none");
    EXPECT_LT(peakKilobytes() - before, 256 * 1024);
}

TEST_F(HostileElf, notesThatOverrunHaveNoId)
{
    const std::string gnu("GNU\0", 4);
    const std::size_t at = good.find(gnu + '\x01' + '\x23');
    ASSERT_NE(at, std::string::npos);
    const Elf64_Nhdr sizes[] = {{4, 21, 3}, {4, ~0U, 3},         {~0U, 20, 3},       {~0U, ~0U, 3},
                                {4, 0, 3},  {0x7fffffff, 20, 3}, {4, 0x80000000, 3}, {0, 20, 3}};
    for (const Elf64_Nhdr& note : sizes)
        EXPECT_EQ(idOf(changed(good, at - sizeof note, note)), "none")
            << note.n_namesz << " " << note.n_descsz;
}

TEST_F(HostileElf, randomDamageNeverCrashes)
{
    std::mt19937 random(7);
    int refused = 0;
    for (int round = 0; round < 1500; ++round) {
        std::string bytes = good;
        const std::size_t region = round % 2 == 0 ? 64 : bytes.size();
        for (int i = 0; i < 4; ++i)
            bytes[random() % region] = static_cast<char>(random());
        refused += idOf(bytes) == "refused" ? 1 : 0;
    }
    EXPECT_GT(refused, 0);
    EXPECT_LT(refused, 1500);
}

} // namespace
