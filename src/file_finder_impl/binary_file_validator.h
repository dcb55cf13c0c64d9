#pragma once

#include <SEEK_2_13/validators.h>

namespace samplefold_1 {

/// Accepts a binary by its checksum, then by its architecture. One search on one thread.
class BinaryFileValidator final : public SEEK_2_13::ChecksumValidator {
public:
    /// A null `expected` lets the architecture alone decide.
    BinaryFileValidator(SEEK_2_13::ObjectPtr<SEEK_2_13::IChecksum> expected,
                        SEEK_2_13::bin_file_architecture_t binaryArchitecture);

    SEEK_2_13::validation_result_t validate(const char* path,
                                            SEEK_2_13::IErrorInfoContainer& errors) override;

    SEEK_2_13::bin_file_architecture_t architecture;

private:
    BinaryFileValidator(SEEK_2_13::ObjectPtr<SEEK_2_13::IChecksum> expected,
                        SEEK_2_13::bin_file_architecture_t binaryArchitecture,
                        const SEEK_2_13::ObjectPtr<SEEK_2_13::IMessageMgr>& messages);
};

} // namespace samplefold_1
