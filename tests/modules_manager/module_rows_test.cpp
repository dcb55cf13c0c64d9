#include "modules_manager/registry_fixture.h"

// The rows of a module.
namespace samplefold_1 {
namespace {

using ModuleRows = RegistryTest;

TEST_F(ModuleRows, AreWrittenFieldByFieldWithTheAttributesFirst)
{
    const auto modules = open();
    EXPECT_EQ(calls->take(), lines_t{"db.getAttributeTable dd_module_file"});
    ModuleDBInfo info = module("/bin/tool");
    info.fileField7 = 5;
    info.fileField10 = 64;
    info.md5sum = "not read";
    db->table("dd_module_file").firstKey = 40;
    db->table("dd_module_file_attributes").firstKey = 9;
    EXPECT_EQ(add(*modules, info), Index(40));
    EXPECT_EQ(calls->take(),
              (lines_t{"dd_module_file.createOrphanRecord", "dd_module_file[0]=text:tool",
                       "dd_module_file[1]=text:/bin/tool",
                       "db.getAttributeTable dd_module_file_attributes",
                       "dd_module_file_attributes.createOrphanRecord",
                       "dd_module_file_attributes[1]=s32:1", "dd_module_file_attributes[2]=s32:1",
                       "dd_module_file_attributes.commit(0,0)->9", "dd_module_file[12]=s32:9",
                       "dd_module_file[6]=s32:2", "dd_module_file[7]=s32:5",
                       "dd_module_file[3]=text:sum of /here/bin/tool", "dd_module_file[10]=s32:64",
                       "dd_module_file.commit(0,0)->40"}));
    EXPECT_EQ(failures(), lines_t{});
}

TEST_F(ModuleRows, LeaveOutWhatIsNotSet)
{
    const auto modules = open(false);
    ModuleDBInfo info = module("/bin/tool");
    info.architecture = -1;
    info.attributeField2Off = true;
    calls->take();
    add(*modules, info);
    EXPECT_EQ(calls->take(),
              (lines_t{"dd_module_file.createOrphanRecord", "dd_module_file[0]=text:tool",
                       "dd_module_file[1]=text:/bin/tool",
                       "db.getAttributeTable dd_module_file_attributes",
                       "dd_module_file_attributes.createOrphanRecord",
                       "dd_module_file_attributes[1]=s32:1", "dd_module_file_attributes[2]=s32:0",
                       "dd_module_file_attributes.commit(0,0)->1", "dd_module_file[12]=s32:1",
                       "dd_module_file.commit(0,0)->1"}));
}

TEST_F(ModuleRows, WithoutAnArchitectureAreLoggedAndWritten)
{
    ModuleDBInfo info = module("/bin/tool");
    info.architecture = -1;
    EXPECT_TRUE(add(*open(false), info).exist());
    EXPECT_EQ(failures(), lines_t{"Architecture is not set for module: /bin/tool"});
}

TEST_F(ModuleRows, OfAModuleEnteredTwiceAreTwoWithOneEntryAndOneChecksum)
{
    const auto modules = open();
    EXPECT_EQ(add(*modules, module("/bin/tool")), Index(1));
    EXPECT_EQ(add(*modules, module("/bin/tool")), Index(2));
    EXPECT_EQ(list(modules), lines_t{"/bin/tool tool sum of /here/bin/tool"});
    EXPECT_EQ(countCalls("calculateChecksum"), 1);
    for (const int row : {1, 2}) {
        EXPECT_EQ(db->table("dd_module_file").at(row, 3), variant_t("sum of /here/bin/tool"));
        EXPECT_EQ(db->table("dd_module_file").at(row, 12), variant_t(std::int32_t{row}));
    }
    EXPECT_EQ(db->table("dd_module_file_attributes").rows.size(), 2U);
}

TEST_F(ModuleRows, WithoutResolvingHaveTheChecksumOfTheFile)
{
    writeModuleDb({saved("tool", "0123", "/bin/tool")});
    const auto modules = open(false);
    add(*modules, module("/bin/tool"));
    add(*modules, module("/bin/other"));
    EXPECT_EQ(db->table("dd_module_file").at(1, 3), variant_t("0123"));
    EXPECT_EQ(db->table("dd_module_file").at(2, 3), variant_t());
    EXPECT_EQ(fakeFileSearch().take(), lines_t{}) << "there is no search";
    EXPECT_EQ(list(modules), lines_t{"/bin/tool tool 0123"}) << "and no new entry";
}

TEST_F(ModuleRows, WithoutADatabaseAreNoneAndChecksumsAreCalculatedAllTheSame)
{
    const auto modules = createModulesManager(folder.path(), true, &messenger, nullptr);
    EXPECT_EQ(add(*modules, module("/bin/tool")), Index());
    EXPECT_EQ(list(modules), lines_t{"/bin/tool tool sum of /here/bin/tool"});
    EXPECT_EQ(failures(), lines_t{});
}

TEST_F(ModuleRows, WithoutTheModuleTableNothingLoadsAndNothingIsSearched)
{
    writeModuleDb({saved("tool", "0123", "/bin/tool")});
    db->missingTables = {"dd_module_file"};
    const auto modules = open();
    EXPECT_EQ(failures(), lines_t{"m_modFileAttrTable"});
    EXPECT_EQ(fakeFileSearch().take(), lines_t{});
    EXPECT_EQ(list(modules), lines_t{});
    EXPECT_EQ(add(*modules, module("/bin/tool")), Index());
    EXPECT_EQ(failures(), (lines_t{"m_modFileAttrTable", "m_fileSearch"}));
    EXPECT_EQ(list(modules), lines_t{"/bin/tool tool "});
}

TEST_F(ModuleRows, WithoutTheAttributesTableTheAssertionFiresAndTheModuleIsWritten)
{
    db->missingTables = {"dd_module_file_attributes"};
    EXPECT_TRUE(add(*open(), module("/bin/tool")).exist());
    const lines_t fired = assertions.take();
    ASSERT_FALSE(fired.empty());
    EXPECT_EQ(fired.front(), "!row.isNull()");
    EXPECT_TRUE(db->table("dd_module_file").at(1, 12).is_null());
}

TEST_F(ModuleRows, ThatAreRefusedLeaveTheIndexAtNone)
{
    db->table("dd_module_file").refusedCommits = {1};
    EXPECT_EQ(add(*open(), module("/bin/tool")), Index());
}

TEST_F(ModuleRows, EnumerationGoesByPathsAsBytesAndLeavesTheRestUnset)
{
    const auto modules = open();
    for (const char* path : {"/b/x", "/b", "/B", "/\xc3\xa9", "/a/z"})
        add(*modules, module(path));
    const ModuleList found(*modules);
    EXPECT_EQ(found.result, 1);
    ASSERT_EQ(found.modules.size(), 5U);
    const char* const expected[] = {"/B", "/a/z", "/b", "/b/x", "/\xc3\xa9"};
    for (std::size_t i = 0; i < 5; ++i) {
        EXPECT_EQ(found.modules[i].path, expected[i]);
        EXPECT_EQ(found.modules[i].architecture, -1);
        EXPECT_EQ(found.modules[i].fileField7, -1);
        EXPECT_EQ(found.modules[i].fileField10, -1);
        EXPECT_FALSE(found.modules[i].attributeField2Off);
    }
}

TEST_F(ModuleRows, EnumerationWithoutACallbackFails)
{
    EXPECT_EQ(open()->enumerateModules(nullptr), 0x4000006a);
    EXPECT_EQ(failures(), lines_t{"callback"});
}

} // namespace
} // namespace samplefold_1
