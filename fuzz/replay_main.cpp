// Runs a fuzz target over files, for compilers without a fuzzing engine: the corpus as a regression
// test.

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

namespace fs = std::filesystem;

void runFile(const fs::path& path)
{
    std::ifstream in(path, std::ios::binary);
    const std::vector<char> content{std::istreambuf_iterator<char>(in),
                                    std::istreambuf_iterator<char>()};
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(content.data()), content.size());
}

std::size_t runAll(const fs::path& path)
{
    if (!fs::is_directory(path)) {
        runFile(path);
        return 1;
    }
    std::size_t files = 0;
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(path)) {
        if (!entry.is_regular_file()) continue;
        runFile(entry.path());
        ++files;
    }
    return files;
}

} // namespace

/// Arguments are files and folders of inputs. Fails when there is none, so that a lost corpus is
/// seen.
int main(int count, char** arguments)
{
    std::size_t files = 0;
    for (int index = 1; index < count; ++index)
        files += runAll(arguments[index]);
    std::printf("%zu inputs\n", files);
    return files == 0 ? 1 : 0;
}
