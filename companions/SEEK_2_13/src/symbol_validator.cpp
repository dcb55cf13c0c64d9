#include "elf_identity.h"
#include "regular_file.h"

#include <SEEK_2_13/validators.h>

#include <boost/crc.hpp>

#include <string>
#include <utility>

namespace SEEK_2_13 {
namespace {

class SymbolFileValidator : public ISymbolFileValidatorCallback {
public:
    SymbolFileValidator(std::string binaryPath, elf_identity_t binary)
        : m_binaryPath(std::move(binaryPath)), m_binary(std::move(binary))
    {
    }

    const char* getExpectedSymbolFileName() const noexcept override
    {
        return m_binary.debugLink.empty() ? nullptr : m_binary.debugLink.c_str();
    }
    const char* getBuildId() const noexcept override { return m_binary.buildId.c_str(); }
    validation_result_t validate(const char* path, IErrorInfoContainer& errors) const override;

private:
    validation_result_t compareBuildIds(const elf_identity_t& candidate,
                                        IErrorInfoContainer& errors) const;
    validation_result_t compareCrcs(const char* path, IErrorInfoContainer& errors) const;

    std::string m_binaryPath;
    elf_identity_t m_binary;
};

validation_result_t SymbolFileValidator::validate(const char* path,
                                                  IErrorInfoContainer& errors) const
{
    elf_identity_t candidate;
    std::string detail;
    const refusal_t refusal =
        path != nullptr ? readElfIdentity(path, candidate, detail) : refusal_t::notFound;
    if (refusal != refusal_t::none) {
        errors.add(refusal, detail.c_str());
        return validation_result_t::untested;
    }
    if (!candidate.hasSymbols) {
        errors.add(refusal_t::noSymbols, "");
        return validation_result_t::refused;
    }
    if (isSameFile(path, m_binaryPath)) {
        errors.add(refusal_t::noSymbols, "it is the binary itself");
        return validation_result_t::refused;
    }
    if (!m_binary.buildId.empty()) return compareBuildIds(candidate, errors);
    if (!m_binary.debugLink.empty()) return compareCrcs(path, errors);
    errors.add(refusal_t::noIdentity, "the binary has neither a build id nor a debug link");
    return validation_result_t::untested;
}

validation_result_t SymbolFileValidator::compareBuildIds(const elf_identity_t& candidate,
                                                         IErrorInfoContainer& errors) const
{
    if (candidate.buildId == m_binary.buildId) return validation_result_t::passed;
    const std::string text =
        candidate.buildId.empty() ? "it has none" : "its build id is " + candidate.buildId;
    errors.add(refusal_t::buildId, text.c_str());
    return validation_result_t::refused;
}

validation_result_t SymbolFileValidator::compareCrcs(const char* path,
                                                     IErrorInfoContainer& errors) const
{
    RegularFile file;
    std::string detail;
    boost::crc_32_type crc;
    const auto add = [&crc](std::span<const std::byte> bytes) {
        crc.process_bytes(bytes.data(), bytes.size());
    };
    const refusal_t refusal = file.open(path, detail);
    if (refusal != refusal_t::none || !file.readAll(add, detail)) {
        errors.add(refusal_t::unreadable, detail.c_str());
        return validation_result_t::untested;
    }
    if (crc.checksum() == m_binary.linkCrc) return validation_result_t::passed;
    errors.add(refusal_t::debugLink, "its CRC is not the one in the binary's debug link");
    return validation_result_t::refused;
}

} // namespace

ObjectPtr<ISymbolFileValidatorCallback> ISymbolFileValidatorCallback::create(const char* binaryPath)
{
    elf_identity_t binary;
    std::string detail;
    if (binaryPath == nullptr || *binaryPath == '\0') return {};
    if (readElfIdentity(binaryPath, binary, detail) != refusal_t::none) return {};
    return new tb2::ref_counted_t<SymbolFileValidator>(binaryPath, std::move(binary));
}

} // namespace SEEK_2_13
