#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace stack_test {

/// A program that the build made of a listing. Its places are told by binutils.
class Listing {
public:
    /// A loadable segment with code.
    struct code_t {
        std::uint64_t rva;
        std::uint64_t size;
        std::uint64_t offsetInFile;
    };

    /// The file `name`, with the places of the file `places` (which has the same code).
    explicit Listing(const std::string& name, const std::string& places = {});

    const std::string& path() const { return m_path; }
    /// Of a function, or of a label of the listing without its "at_". Fails the test for neither.
    std::uint64_t rva(const std::string& place) const;
    const std::vector<code_t>& code() const { return m_code; }
    /// Of the first entry of the linkage table that is a function's.
    std::uint64_t linkageEntry() const { return m_linkageEntry; }
    /// The lowest address that it is linked for.
    std::uint64_t linkedAt() const { return m_linkedAt; }

private:
    void readSegments();
    void readSections();
    void readPlaces(const std::string& path);

    std::string m_path;
    std::uint64_t m_linkedAt = 0;
    std::uint64_t m_linkageEntry = 0;
    std::vector<code_t> m_code;
    std::map<std::string, std::uint64_t> m_places;
};

/// The program, the same without symbols, the same linked for 0x10000000, and the library that it
/// calls.
const Listing& program();
const Listing& bareProgram();
const Listing& fixedProgram();
const Listing& library();

} // namespace stack_test
