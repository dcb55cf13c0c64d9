#include "truth_file.h"

#include "failure.h"

namespace steptrace {

TruthFile::TruthFile(const std::string& path) : m_path(path)
{
    if (path.empty()) return;
    m_file.open(path);
    if (!m_file) throw Failure(path + ": cannot be written");
}

void TruthFile::add(std::uint64_t tick, const std::vector<std::uint64_t>& chain)
{
    if (!m_file.is_open()) return;
    m_file << "{\"time\":" << std::dec << tick << ",\"chain\":[" << std::hex;
    const char* between = "";
    for (const std::uint64_t address : chain) {
        m_file << between << "\"0x" << address << '"';
        between = ",";
    }
    m_file << "]}\n";
}

void TruthFile::close()
{
    if (!m_file.is_open()) return;
    m_file.close();
    if (!m_file) throw Failure(m_path + ": cannot be written");
}

} // namespace steptrace
