#pragma once

#include "support/log_capture.h"
#include "support/scoped_environment.h"
#include "support/temporary_folder.h"

#include <samplefold_1/platform_info.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace samplefold_1 {

/// A tool directory whose "hwsamp" is a shell script of the test.
class PlayedTool : public testing::Test {
protected:
    /// The script notes in the file "runs" that it ran.
    void play(const std::string& script)
    {
        const std::string path = folder.addFile(
            "hwsamp", "#!/bin/sh\nprintf r >> '" + folder.path("runs") + "'\n" + script + "\n");
        std::filesystem::permissions(path, std::filesystem::perms::owner_all);
    }
    /// A tool that prints this text.
    void print(const std::string& text)
    {
        folder.addFile("text", text);
        play("cat '" + folder.path("text") + "'");
    }
    std::size_t runs() const
    {
        std::error_code missing;
        const auto size = std::filesystem::file_size(folder.path("runs"), missing);
        return missing ? 0 : static_cast<std::size_t>(size);
    }
    /// A line for a signature.
    static std::string line(const std::string& signature, const std::string& pmu)
    {
        return "Platform: 1, PMU: " + pmu + ", Signature: " + signature + ", CPU name: Some CPU\n";
    }
    /// First words of what was logged, up to the place.
    std::vector<std::string> logged() const
    {
        std::vector<std::string> texts;
        for (const auto& entry : log.entries())
            texts.push_back(entry.text.substr(0, entry.text.find(", at file:")));
        return texts;
    }

    samplefold_test::TemporaryFolder folder;
    samplefold_test::ScopedEnvironment directory{"SAMPLEFOLD_TOOL_DIR", folder.path().c_str()};
    samplefold_test::LogCapture log;
    PlatformInfo info;
};

} // namespace samplefold_1
