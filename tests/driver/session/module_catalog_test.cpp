#include "scratch_result.h"

#include "session/module_catalog.h"

namespace samplefold::session {
namespace {

using lines_t = std::vector<std::string>;

using testing::storeModules;

class ModuleCatalogTest : public testing::ScratchResultTest {};

TEST_F(ModuleCatalogTest, ASegmentIsAModuleWithOffsetAndSize)
{
    ModuleCatalog catalog;
    const std::uint32_t text = catalog.segment({"/bin/a", "", 0x1000, 0x2000, 5});
    EXPECT_EQ(catalog.segment({"/bin/a", "", 0x1000, 0x2000, 5}), text);
    EXPECT_EQ(catalog.segment({"/bin/a", "", 0x1000, 0x2000, 1}), text)
        << "protection tells nothing apart";
    EXPECT_NE(catalog.segment({"/bin/a", "", 0x1000, 0x3000, 5}), text);
    EXPECT_NE(catalog.segment({"/bin/a", "", 0x3000, 0x2000, 5}), text);
    EXPECT_NE(catalog.segment({"/bin/b", "", 0x1000, 0x2000, 5}), text);
    EXPECT_NE(catalog.segment({"/bin/a", "ab12", 0x1000, 0x2000, 5}), text);
    storeModules(result(), catalog);
    EXPECT_EQ(ask("SELECT path, build_id FROM dd_module_file ORDER BY id"),
              (lines_t{"/bin/a|-", "/bin/b|-", "/bin/a|ab12"}));
    EXPECT_EQ(
        ask("SELECT module, kind, \"offset\", size, protection FROM dd_module_segment ORDER BY id"),
        (lines_t{"1|1|4096|8192|5", "1|1|4096|12288|5", "1|1|12288|8192|5", "2|1|4096|8192|5",
                 "3|1|4096|8192|5"}));
}

TEST_F(ModuleCatalogTest, ANumberLeadsToPathAndRow)
{
    ModuleCatalog catalog;
    catalog.segment({"/bin/a", "", 0, 1, 0});
    const std::uint32_t number = catalog.segment({"/bin/b", "", 0, 1, 0});
    storeModules(result(), catalog);
    EXPECT_EQ(catalog.modulePath(number), "/bin/b");
    EXPECT_EQ(catalog.segmentRow(number).value(), 2);
    EXPECT_EQ(catalog.moduleRow(number).value(), 2);
}

TEST_F(ModuleCatalogTest, ModulesAreNamedByTheirLeafAndMemoryByItsWholeName)
{
    ModuleCatalog catalog;
    catalog.segment({"/opt/x/libm.so.6", "", 0, 1, 0});
    catalog.segment({"[kernel.kallsyms]", "", 0, 1, 0});
    catalog.segment({"/SYSV00000000 (deleted)", "", 0, 1, 0});
    storeModules(result(), catalog);
    EXPECT_EQ(ask("SELECT f.name, s.kind FROM dd_module_file f JOIN dd_module_segment s ON "
                  "s.module = f.id "
                  "ORDER BY f.id"),
              (lines_t{"libm.so.6|1", "[kernel.kallsyms]|2", "/SYSV00000000 (deleted)|2"}));
}

TEST_F(ModuleCatalogTest, AnotherLoadUsesTheRowsAgain)
{
    rowvault1::Index row;
    {
        ModuleCatalog catalog;
        catalog.segment({"/bin/a", "ab12", 0, 0x1000, 5});
        const auto number = catalog.segment({"/bin/b", "", 0xffffffff81000000, 0x1000, 5});
        storeModules(result(), catalog);
        row = catalog.segmentRow(number);
    }
    reopen();
    ModuleCatalog catalog;
    const std::uint32_t number = catalog.segment({"/bin/b", "", 0xffffffff81000000, 0x1000, 5});
    storeModules(result(), catalog);
    EXPECT_EQ(catalog.segmentRow(number), row);
    EXPECT_EQ(catalog.modulePath(number), "/bin/b");
    EXPECT_EQ(ask("SELECT count(*) FROM dd_module_file"), (lines_t{"2"}));
    EXPECT_EQ(ask("SELECT count(*) FROM dd_module_segment"), (lines_t{"2"}));
}

} // namespace
} // namespace samplefold::session
