#pragma once

#include "modules_manager/module_list.h"
#include "support/assertion_recorder.h"
#include "support/fake_database.h"
#include "support/fake_file_search.h"
#include "support/fake_messenger.h"
#include "support/log_capture.h"
#include "support/temporary_folder.h"

#include <toolbelt2/status.h>
#include <toolbelt2/variant_bag.h>

#include <gtest/gtest.h>

#include <algorithm>

namespace samplefold_1 {

using rowvault1::Index;
using samplefold_test::fakeFileSearch;
using samplefold_test::lines_t;
using tb2::variant_t;
using ModuleDBInfo = IModulesManager::ModuleDBInfo;

/// A registry over a fake store and a fake search, in a result directory of its own.
class RegistryTest : public testing::Test {
protected:
    RegistryTest()
    {
        fakeFileSearch().reset();
        fakeFileSearch().onFindFile = [](const std::string& name, SEEK_2_13::IFileValidator*,
                                         std::uint32_t) { return "/here" + name; };
        fakeFileSearch().onCalculate = [](const std::string& path) { return "sum of " + path; };
    }
    ~RegistryTest() override { EXPECT_EQ(lines_t{}, assertions.take()) << "unexpected assertions"; }

    tb2::sptr_t<IModulesManager> open(bool resolveFiles = true)
    {
        return createModulesManager(folder.path(), resolveFiles, &messenger, db);
    }
    static ModuleDBInfo module(const std::string& path)
    {
        ModuleDBInfo info;
        info.name = path.substr(path.rfind('/') + 1);
        info.path = path;
        info.architecture = 2;
        return info;
    }
    static Index add(IModulesManager& modules, const ModuleDBInfo& info)
    {
        Index index(77);
        EXPECT_EQ(modules.addModule(info, index), 1);
        return index;
    }
    static lines_t list(const tb2::sptr_t<IModulesManager>& modules)
    {
        return ModuleList(*modules).lines();
    }

    std::string moduleDb() const { return folder.path(".moduledb"); }
    /// Writes a ".moduledb" with one bag per list of keys and values.
    void writeModuleDb(std::initializer_list<std::map<std::string, variant_t>> modules) const
    {
        tb2::variant_bag_t bag;
        for (const auto& one : modules) {
            tb2::variant_bag_t& child = bag.put_bag("module");
            for (const auto& [key, value] : one)
                child.put(key, value);
        }
        ASSERT_EQ(tb2::save_variant_bag2(bag, moduleDb(), "bag"), tb2::status::success);
    }
    static std::map<std::string, variant_t> saved(const char* name, const char* md5sum,
                                                  const char* path)
    {
        return {
            {"name", variant_t(name)}, {"md5sum", variant_t(md5sum)}, {"path", variant_t(path)}};
    }
    /// The modules in ".moduledb" as "path name md5sum".
    lines_t readModuleDb() const
    {
        tb2::variant_bag_t bag;
        EXPECT_EQ(tb2::load_variant_bag2(bag, moduleDb(), "bag", false), tb2::status::success);
        lines_t modules;
        for (auto one = bag.begin_by_name("module"); !one.atEnd(); one.next()) {
            std::string line;
            for (const char* key : {"path", "name", "md5sum"})
                line += std::string(one.current().get(key)->as_text()) + " ";
            line.pop_back();
            modules.push_back(line);
        }
        return modules;
    }

    /// What was logged at error level, without the place behind ", at file: ", which must be there.
    lines_t failures() const
    {
        lines_t texts;
        for (const auto& entry : log.entries()) {
            EXPECT_EQ(entry.level, 40000);
            const std::size_t place = entry.text.find(", at file: ");
            EXPECT_NE(place, std::string::npos) << entry.text;
            EXPECT_NE(entry.text.find("src/modules_manager/", place), std::string::npos);
            EXPECT_NE(entry.text.find(".cpp:", place), std::string::npos);
            texts.push_back(entry.text.substr(0, place));
        }
        return texts;
    }
    static long countCalls(const std::string& start)
    {
        const lines_t calls = fakeFileSearch().take();
        return std::count_if(calls.begin(), calls.end(),
                             [&](const std::string& line) { return line.starts_with(start); });
    }

    samplefold_test::TemporaryFolder folder;
    samplefold_test::AssertionRecorder assertions;
    samplefold_test::LogCapture log;
    samplefold_test::FakeMessenger messenger;
    samplefold_test::log_ptr_t calls = std::make_shared<samplefold_test::CallLog>();
    tb2::sptr_t<samplefold_test::FakeDatabase> db =
        tb2::make_counted<samplefold_test::FakeDatabase>(calls);
};

} // namespace samplefold_1
