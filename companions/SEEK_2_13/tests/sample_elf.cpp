#include "sample_elf.h"

#include "command_output.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <stdexcept>

namespace seek_test {

std::string SampleElf::made(std::string_view id, const char* flags)
{
    // Each is made once; tests only copy it.
    static std::map<std::string, std::string> known;
    const std::string idFlag =
        id.empty() ? "-Wl,--build-id=none" : "-Wl,--build-id=0x" + std::string(id);
    std::string& bytes = known[idFlag + flags];
    if (!bytes.empty()) return bytes;
    const samplefold_test::TemporaryFolder folder;
    const std::string source = folder.addFile("sample.cpp", "int sampleAnswer() { return 42; }\n");
    const std::string object = folder.path("sample.so");
    outputOf("g++ -shared -fPIC -nostdlib -g " + idFlag + " " + flags + " -o " +
             shellQuoted(object) + " " + shellQuoted(source));
    return bytes = bytesOf(object);
}

std::string SampleElf::withId(std::string_view id)
{
    return made(id, "");
}

std::string SampleElf::stripped(std::string_view id)
{
    return made(id, "-s");
}

std::string bytesOf(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    if (!file) throw std::runtime_error("cannot read " + path);
    return {std::istreambuf_iterator<char>(file), {}};
}

std::string put(const std::string& path, std::string_view bytes)
{
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    std::ofstream(path, std::ios::binary) << bytes;
    return path;
}

} // namespace seek_test
