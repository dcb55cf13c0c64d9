#include "session/module_names.h"

#include <gtest/gtest.h>

namespace samplefold::session {
namespace {

TEST(ModuleNameTest, PathsAreFiles)
{
    for (const char* path :
         {"/bin/sh", "relative", "/tmp/a (deleted)", "/tmp/jit-17.dump", "/dev/shm/x",
          "/lib/modules/6.1/kernel/fs/ext4.ko", "//server/share", "/SYSTEM/lib"}) {
        EXPECT_TRUE(isFile(path)) << path;
    }
}

TEST(ModuleNameTest, NamesOfMemoryAreNoFiles)
{
    for (const char* path :
         {"", "//anon", "[vdso]", "[vsyscall]", "[stack]", "[heap]", "[uprobes]",
          "[kernel.kallsyms]_text", "[guest.kernel.kallsyms]", "[ext4]", "/dev/zero",
          "/dev/zero (deleted)", "/SYSV00000000 (deleted)", "anon_inode:[perf_event]",
          "memfd:code (deleted)", "/memfd:code (deleted)", "/anon_hugepage (deleted)"}) {
        EXPECT_FALSE(isFile(path)) << path;
    }
}

TEST(ModuleNameTest, TheKernelHasOneNameWhateverSymbolStandsBehindIt)
{
    EXPECT_EQ(modulePath("[kernel.kallsyms]_text"), "[kernel.kallsyms]");
    EXPECT_EQ(modulePath("[kernel.kallsyms]_stext"), "[kernel.kallsyms]");
    EXPECT_EQ(modulePath("[kernel.kallsyms]"), "[kernel.kallsyms]");
    EXPECT_EQ(modulePath("[guest.kernel.kallsyms]_text"), "[guest.kernel.kallsyms]");
}

TEST(ModuleNameTest, OtherModulesKeepTheirPath)
{
    for (const char* path : {"/bin/sh", "[vdso]", "[nf_tables]", "//anon", "", "[kernel]_text"})
        EXPECT_EQ(modulePath(path), path);
}

TEST(ModuleNameTest, TheSymbolBehindTheKernelsNameIsTold)
{
    EXPECT_EQ(kernelReference("[kernel.kallsyms]_text"), "_text");
    EXPECT_EQ(kernelReference("[kernel.kallsyms]"), "");
    EXPECT_EQ(kernelReference("/bin/sh"), "");
}

TEST(ModuleNameTest, AFileIsNamedByItsLeafAndMemoryByItsWholeName)
{
    EXPECT_EQ(moduleName("/opt/x/libm.so.6"), "libm.so.6");
    EXPECT_EQ(moduleName("[vdso]"), "[vdso]");
    EXPECT_EQ(moduleName("//anon"), "//anon");
}

TEST(ModuleNameTest, AKernelModuleIsNamedAsTheKernelNamesIt)
{
    EXPECT_EQ(moduleName("/lib/modules/6.1/kernel/net/nf-tables.ko"), "[nf_tables]");
    EXPECT_EQ(moduleName("/lib/modules/6.1/kernel/fs/ext4.ko.xz"), "[ext4]");
    EXPECT_EQ(moduleName("[ext4]"), "[ext4]");
    EXPECT_EQ(moduleName("/tmp/.ko"), ".ko") << "a file without a name before the ending";
}

} // namespace
} // namespace samplefold::session
