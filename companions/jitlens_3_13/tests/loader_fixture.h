#pragma once

#include "dump_builder.h"

#include "support/temporary_folder.h"

#include <jitlens_3_13/jit_loader.h>

#include <gtest/gtest.h>

#include <unistd.h>

#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <string_view>

/// A loader over a folder of its own, with questions about one process. Its id is above those that
/// Linux gives out, so that no file in /tmp belongs to it, and differs between runs at once.
class LoaderTest : public testing::Test {
protected:
    const std::uint32_t pid = 4200000000 + static_cast<std::uint32_t>(::getpid());
    static constexpr std::uint64_t forever = std::numeric_limits<std::uint64_t>::max();

    /// What a question found: "name+offset", or what stands in its place.
    static constexpr const char* nothing = "-";

    LoaderTest();

    /// Writes a file and takes it for the process.
    std::string add(const std::string& name, std::string_view content);
    std::string add(const DumpBuilder& dump) { return add("code.dump", dump.bytes()); }
    std::string write(const std::string& name, std::string_view content) const;

    std::uint32_t resolveCode(std::uint64_t time, std::uint64_t ip);
    /// "name+offset" of the function at an address, in decimal; `nothing` for no code.
    std::string at(std::uint64_t time, std::uint64_t ip);
    std::uint64_t rvaAt(std::uint64_t time, std::uint64_t ip);
    boost::intrusive_ptr<jitlens_3_13::IModule> moduleAt(std::uint64_t time, std::uint64_t ip);
    /// "file:line" at an address; `nothing` where none is known.
    std::string lineAt(std::uint64_t time, std::uint64_t ip);
    std::optional<jitlens_3_13::region_t> region(std::uint64_t time, std::uint64_t first,
                                                 std::uint64_t last);
    /// The only source of the process.
    jitlens_3_13::source_t source();

    samplefold_test::TemporaryFolder folder;
    std::uint32_t status = 0;
    boost::intrusive_ptr<jitlens_3_13::IJitLoader> loader;
};
