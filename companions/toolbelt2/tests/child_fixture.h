#pragma once

#include "support/temporary_folder.h"

#include <toolbelt2/process.h>

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <string>

namespace toolbelt2::process {

/// Keeps what a child wrote, piece by piece; refuses the pieces after `taken` of them.
class Collector : public IPipeReaderCallback {
public:
    error_code_t onRead(const char* buffer, std::int32_t size) override
    {
        ++pieces;
        text.append(buffer, static_cast<std::size_t>(size));
        return pieces <= taken ? error_code_t() : error_code_t(77);
    }

    std::string text;
    int pieces = 0;
    int taken = 1'000'000;
};

/// A folder of shell scripts, and a process that runs one of them.
class ChildTest : public testing::Test {
protected:
    std::string script(const std::string& name, const std::string& body) const
    {
        const std::string path = folder.addFile(name, "#!/bin/sh\n" + body + "\n");
        std::filesystem::permissions(path, std::filesystem::perms::owner_all);
        return name;
    }
    error_code_t start(const std::string& tool, const arguments_t& arguments = {},
                       const environment_t* environment = nullptr)
    {
        EXPECT_TRUE(process->setPipeReader(1, output).succeeded());
        return process->start(tool, arguments, environment, folder.path(), 1, 0, 1);
    }
    /// Value of what join gives for a script.
    std::int32_t run(const std::string& body)
    {
        start(script("tool", body));
        return process->join().value();
    }
    static double secondsSince(std::chrono::steady_clock::time_point begin)
    {
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
    }

    samplefold_test::TemporaryFolder folder;
    sptr_t<IProcess> process = IProcess::create();
    sptr_t<Collector> output = make_counted<Collector>();
};

} // namespace toolbelt2::process
