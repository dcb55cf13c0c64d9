#pragma once

#include <SEEK_2_13/checksum.h>
#include <SEEK_2_13/error_info.h>
#include <SEEK_2_13/export.h>
#include <SEEK_2_13/file_kind.h>
#include <SEEK_2_13/messages.h>
#include <SEEK_2_13/object_ptr.h>

#include <cstdint>

namespace SEEK_2_13 {

/// Verdict on a candidate. A search takes a file that passed and goes on after the others.
enum class validation_result_t : std::int32_t {
    untested = 0, ///< it could not be read, or there was nothing to test it by
    refused = 1,
    passed = 2
};

/// Decides whether a search takes a file. It belongs to the caller, and is used on the thread that
/// searches, until the search returns.
class SEEK_API IFileValidator {
public:
    /// Tests the file at `path`. When it does not pass, `errors` gets the reasons.
    virtual validation_result_t validate(const char* path, IErrorInfoContainer& errors) = 0;

protected:
    ~IFileValidator() = default;
};

/// Tests a file by its checksum; a base for validators that test more. Without an expected checksum
/// every file passes.
class SEEK_API ChecksumValidator : public IFileValidator {
public:
    /// `kind` tells which of the messages is used: binaryFileKind, symbolFileKind or
    /// sourceFileKind. `expected` may be null, and so may be messages. With a null `calculator`
    /// and an expected checksum no file passes.
    ChecksumValidator(ObjectPtr<IChecksumCalculator> calculator, file_kind_t kind,
                      ObjectPtr<IChecksum> expected, ObjectPtr<IMessage> binaryMismatch,
                      ObjectPtr<IMessage> symbolMismatch, ObjectPtr<IMessage> sourceMismatch);

    validation_result_t validate(const char* path, IErrorInfoContainer& errors) override;

    // What `errors` gets, by kind: of a file with the checksum `found`, and of one whose checksum
    // cannot be calculated.
    virtual void fillErrorMessageForBinFile(const char* path, IErrorInfoContainer& errors,
                                            const char* found) const;
    virtual void fillErrorMessageForSymFile(const char* path, IErrorInfoContainer& errors,
                                            const char* found) const;
    virtual void fillErrorMessageForSrcFile(const char* path, IErrorInfoContainer& errors,
                                            const char* found) const;
    virtual void fillErrorMessageForBinFile(const char* path, IErrorInfoContainer& errors) const;
    virtual void fillErrorMessageForSymFile(const char* path, IErrorInfoContainer& errors) const;
    virtual void fillErrorMessageForSrcFile(const char* path, IErrorInfoContainer& errors) const;

protected:
    ~ChecksumValidator() = default;

private:
    void addMismatch(const IMessage* message, const char* found, IErrorInfoContainer& errors) const;

    ObjectPtr<IChecksumCalculator> m_calculator;
    file_kind_t m_kind;
    ObjectPtr<IChecksum> m_expected;
    ObjectPtr<IMessage> m_binaryMismatch;
    ObjectPtr<IMessage> m_symbolMismatch;
    ObjectPtr<IMessage> m_sourceMismatch;
};

/// Codes of architectures. They are this library's own, not machine numbers of ELF headers.
using bin_file_architecture_t = std::uint32_t;
namespace architecture {
inline constexpr bin_file_architecture_t i386 = 1;
inline constexpr bin_file_architecture_t x86_64 = 2; ///< its 32-bit pointer variant too
inline constexpr bin_file_architecture_t arm = 3;
inline constexpr bin_file_architecture_t aarch64 = 4;
inline constexpr bin_file_architecture_t riscv = 5; ///< of 32 and of 64 bits
inline constexpr bin_file_architecture_t ppc64 = 6;
inline constexpr bin_file_architecture_t s390 = 7;
inline constexpr bin_file_architecture_t any = 16; ///< any of these
} // namespace architecture

/// Tests whether a file is an ELF image for an architecture. Reads the head of the file only. Any
/// thread.
class SEEK_API IBinFileArchValidatorCallback : public tb2::object_interface_t {
public:
    /// Null for a number that is no code.
    static ObjectPtr<IBinFileArchValidatorCallback> create(bin_file_architecture_t architecture);

    virtual validation_result_t validate(const char* path, IErrorInfoContainer& errors) const = 0;
};

/// Tests whether a file holds the symbols of a binary: by its build id, or if the binary has none,
/// by the CRC in its debug link. Any thread.
class SEEK_API ISymbolFileValidatorCallback : public tb2::object_interface_t {
public:
    /// Null when the file at `binaryPath` is no ELF image that can be read.
    static ObjectPtr<ISymbolFileValidatorCallback> create(const char* binaryPath);

    /// Name in the binary's debug link, or null; lives as long as the object.
    virtual const char* getExpectedSymbolFileName() const noexcept = 0;
    /// The binary's build id in lower-case hexadecimal; empty when there is none.
    virtual const char* getBuildId() const noexcept = 0;
    /// A file without symbols, and the binary itself, do not pass.
    virtual validation_result_t validate(const char* path, IErrorInfoContainer& errors) const = 0;
};

} // namespace SEEK_2_13
