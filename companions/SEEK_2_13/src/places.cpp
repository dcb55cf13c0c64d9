#include <SEEK_2_13/file_search.h>

namespace SEEK_2_13 {

const char* placeName(place_t place) noexcept
{
    switch (place) {
    case place_t::substitution:
        return "path substitution";
    case place_t::path:
        return "path itself";
    case place_t::buildIdLink:
        return "build-id link";
    case place_t::buildIdCache:
        return "build-id cache";
    case place_t::addedDirectory:
        return "added directory";
    case place_t::archive:
        return "archive";
    case place_t::besideBinary:
        return "beside the binary";
    case place_t::debugRoot:
        return "debug root";
    case place_t::kernelCore:
        return "kernel core";
    case place_t::bootFolder:
        return "boot folder";
    }
    return "unknown";
}

} // namespace SEEK_2_13
