#pragma once

#include "sample_elf.h"
#include "support/temporary_folder.h"

#include <SEEK_2_13/resolution_context.h>

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

namespace seek_test {

/// A result directory and a machine of its own, below a temporary folder: a module that was
/// profiled as `module`, added directories, a debug root and the other places.
class SeekTest : public testing::Test {
protected:
    SeekTest();

    std::string at(std::string_view name) const { return folder.path(name); }
    /// Records `data` in the result directory.
    void record() const;
    /// A search of the result directory, opened anew, by `data` as recorded.
    SEEK_2_13::ObjectPtr<SEEK_2_13::IFileSearch> search() const;
    /// Path of what a new search finds for `name`; empty when nothing.
    std::string find(const std::string& name, SEEK_2_13::IFileValidator* validator = nullptr,
                     std::uint32_t flags = 0) const;
    /// The same by a given search.
    static std::string findBy(SEEK_2_13::IFileSearch& search, const std::string& name,
                              SEEK_2_13::IFileValidator* validator = nullptr,
                              std::uint32_t flags = 0);
    void addDir(SEEK_2_13::file_kind_t kind, const std::string& path, bool below = false,
                std::uint32_t order = 0);
    void expectId(std::string_view id) { data.buildIds[module] = id; }

    samplefold_test::TemporaryFolder folder;
    std::string result = folder.addFolder("result");
    std::string module = at("machine/opt/app/tool.so");
    SEEK_2_13::context_data_t data;
    SEEK_2_13::ObjectPtr<SEEK_2_13::IResolutionContextMgr> manager =
        SEEK_2_13::IResolutionContextMgr::create();
};

/// "place|path|refusal" of each attempt, for comparing lists.
std::vector<std::string> told(const std::vector<SEEK_2_13::attempt_t>& attempts);
std::string told(SEEK_2_13::place_t place, const std::string& path, SEEK_2_13::refusal_t refusal);

} // namespace seek_test
