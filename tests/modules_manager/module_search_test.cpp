#include "modules_manager/registry_fixture.h"

#include <optbook2/message_catalog.h>

// How the registry sets its search up, and what becomes of files that it does not find.
namespace samplefold_1 {
namespace {

class ModuleSearch : public RegistryTest {
protected:
    static void findNothing() { fakeFileSearch().onFindFile = nullptr; }
    /// Entering a module without a checksum gives a row and an entry without one.
    void expectEnteredWithoutChecksum(const tb2::sptr_t<IModulesManager>& modules)
    {
        EXPECT_TRUE(add(*modules, module("/a")).exist());
        EXPECT_EQ(list(modules), lines_t{"/a a "});
        EXPECT_TRUE(db->table("dd_module_file").at(1, 3).is_null());
    }
};

TEST_F(ModuleSearch, IsAClientOfTheResultsContext)
{
    open();
    const std::string result = folder.path();
    const lines_t seen = fakeFileSearch().take();
    EXPECT_EQ(seen,
              (lines_t{"openContext " + result,
                       "createFileSearch " + result + " __shared_finalization_client_id__ null",
                       "search released", "context released", "contextMgr released"}))
        << "released in reverse order";
}

TEST_F(ModuleSearch, LooksForThePathWithoutAValidatorAndTakesTheChecksumOfWhatItFound)
{
    const auto modules = open();
    fakeFileSearch().take();
    add(*modules, module("/bin/tool"));
    EXPECT_EQ(fakeFileSearch().take(),
              (lines_t{"findFile /bin/tool any 0 0", "calculateChecksum /here/bin/tool"}));
}

TEST_F(ModuleSearch, AModuleThatIsNotFoundGetsOneMessageAndIsTriedAgainByTheNextRun)
{
    findNothing();
    {
        const auto modules = open();
        expectEnteredWithoutChecksum(modules);
        add(*modules, module("/a"));
        ASSERT_EQ(messenger.messages.size(), 1U);
        EXPECT_EQ(messenger.messages[0].second, 2);
        EXPECT_EQ(messenger.messages[0].first, optbook2::getMessageCatalog("samplefold1")
                                                   ->getMessage("%CannotLocateBinaryFile", {"/a"}));
        EXPECT_NE(messenger.messages[0].first.find("\"/a\""), std::string::npos);
        EXPECT_EQ(failures(), lines_t{}) << "that is no failure of the registry";
    }
    EXPECT_EQ(readModuleDb(), lines_t{});
    fakeFileSearch().take();
    const auto next = open();
    add(*next, module("/a"));
    EXPECT_EQ(messenger.messages.size(), 2U);
    EXPECT_EQ(countCalls("findFile"), 1);
}

TEST_F(ModuleSearch, WithoutAMessengerNobodyHearsOfIt)
{
    findNothing();
    expectEnteredWithoutChecksum(createModulesManager(folder.path(), true, nullptr, db));
}

TEST_F(ModuleSearch, WithoutASearchModulesAreEnteredWithoutChecksums)
{
    const std::pair<const char*, const char*> missing[] = {
        {"contextMgr", "m_contextMgr"}, {"context", "m_context"}, {"search", "m_fileSearch"}};
    lines_t expected;
    for (const auto& [object, text] : missing) {
        fakeFileSearch().missing = {object};
        const auto modules = open();
        add(*modules, module("/a"));
        EXPECT_EQ(list(modules), lines_t{"/a a "}) << object;
        expected.insert(expected.end(), {text, "m_fileSearch"});
        EXPECT_EQ(failures(), expected);
    }
    EXPECT_TRUE(messenger.messages.empty());
    EXPECT_EQ(db->table("dd_module_file").rows.size(), 3U);
}

TEST_F(ModuleSearch, WithoutACalculatorModulesAreEnteredWithoutChecksums)
{
    fakeFileSearch().missing = {"calculator"};
    expectEnteredWithoutChecksum(open());
    EXPECT_EQ(failures(), lines_t{"csCalculator != __null"});
}

TEST_F(ModuleSearch, AFileThatCannotBeReadIsEnteredWithoutAChecksum)
{
    fakeFileSearch().missing = {"checksum"};
    expectEnteredWithoutChecksum(open());
    EXPECT_EQ(failures(), lines_t{"calculatedMd5Sum != __null"});
    EXPECT_TRUE(messenger.messages.empty()) << "it was located";
}

/// A store whose parts tell when they go.
class NotedTable : public samplefold_test::FakeTable {
public:
    using FakeTable::FakeTable;
    ~NotedTable() override { fakeFileSearch().note("table released"); }
};
class NotedDatabase : public samplefold_test::FakeDatabase {
public:
    explicit NotedDatabase(const samplefold_test::log_ptr_t& log) : FakeDatabase(log), m_calls(log)
    {
    }
    ~NotedDatabase() override { fakeFileSearch().note("database released"); }
    tb2::sptr_t<rowvault1::IAttributeTable> getAttributeTable(const char* name) override
    {
        return tb2::make_counted<NotedTable>(name, m_calls);
    }

private:
    samplefold_test::log_ptr_t m_calls;
};

TEST_F(ModuleSearch, IsReleasedBeforeTheStore)
{
    auto modules =
        createModulesManager(folder.path(), true, nullptr, tb2::make_counted<NotedDatabase>(calls));
    fakeFileSearch().take();
    modules.reset();
    EXPECT_EQ(fakeFileSearch().take(),
              (lines_t{"search released", "context released", "contextMgr released",
                       "table released", "database released"}));
}

} // namespace
} // namespace samplefold_1
