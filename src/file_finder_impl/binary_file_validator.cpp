#include "file_finder_impl/binary_file_validator.h"

#include <PORTA_2_18/assert.h>

#include <utility>

namespace samplefold_1 {

using SEEK_2_13::IMessage;
using SEEK_2_13::IMessageMgr;
using SEEK_2_13::ObjectPtr;
using SEEK_2_13::validation_result_t;

BinaryFileValidator::BinaryFileValidator(ObjectPtr<SEEK_2_13::IChecksum> expected,
                                         SEEK_2_13::bin_file_architecture_t binaryArchitecture)
    : BinaryFileValidator(std::move(expected), binaryArchitecture, IMessageMgr::create())
{
}

BinaryFileValidator::BinaryFileValidator(ObjectPtr<SEEK_2_13::IChecksum> expected,
                                         SEEK_2_13::bin_file_architecture_t binaryArchitecture,
                                         const ObjectPtr<IMessageMgr>& messages)
    : ChecksumValidator(SEEK_2_13::IChecksumCalculator::create(), SEEK_2_13::binaryFileKind,
                        std::move(expected),
                        messages ? messages->getBinaryMismatchMessage() : ObjectPtr<IMessage>(),
                        messages ? messages->getSymbolMismatchMessage() : ObjectPtr<IMessage>(),
                        messages ? messages->getSourceMismatchMessage() : ObjectPtr<IMessage>()),
      architecture(binaryArchitecture)
{
}

validation_result_t BinaryFileValidator::validate(const char* path,
                                                  SEEK_2_13::IErrorInfoContainer& errors)
{
    const validation_result_t byChecksum = ChecksumValidator::validate(path, errors);
    if (byChecksum != validation_result_t::passed) return byChecksum;
    const auto exeFileValidator = SEEK_2_13::IBinFileArchValidatorCallback::create(architecture);
    PORTA_ASSERT_TEXT(exeFileValidator != nullptr, "exeFileValidator");
    // The assertion may come back; without a validator nothing tells that the file is right.
    if (exeFileValidator == nullptr) return validation_result_t::untested;
    return exeFileValidator->validate(path, errors);
}

} // namespace samplefold_1
