// Prints the checksum of a file as `openssl md5 -r` does.
//
//     symbols_bench_checksum FILE

#include <SEEK_2_13/checksum.h>

#include <cstdio>

int main(int count, char** words)
{
    if (count != 2) {
        std::fprintf(stderr, "usage: symbols_bench_checksum FILE\n");
        return 2;
    }
    const auto calculator = SEEK_2_13::IChecksumCalculator::create();
    SEEK_2_13::ObjectPtr<SEEK_2_13::IChecksum> checksum;
    if (calculator) checksum = calculator->calculateChecksum(words[1]);
    if (!checksum) {
        std::fprintf(stderr, "symbols_bench_checksum: %s has no checksum\n", words[1]);
        return 1;
    }
    std::printf("%s *%s\n", checksum->getText(), words[1]);
    return 0;
}
