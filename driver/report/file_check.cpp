#include "report/file_check.h"

#include <SEEK_2_13/checksum.h>

namespace samplefold::report {

bool hasChecksum(const std::string& path, const std::string& md5)
{
    const auto calculator = SEEK_2_13::IChecksumCalculator::create();
    if (!calculator) return false;
    const auto found = calculator->calculateChecksum(path.c_str());
    const auto wanted = calculator->parseChecksum(SEEK_2_13::checksum_kind::md5, md5.c_str());
    return found && wanted && found->equals(*wanted);
}

} // namespace samplefold::report
