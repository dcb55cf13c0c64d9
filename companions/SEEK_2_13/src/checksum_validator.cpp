#include <SEEK_2_13/validators.h>

#include <string>
#include <utility>

namespace SEEK_2_13 {
namespace {

constexpr const char* g_noChecksum = "its checksum cannot be calculated";

void addUnreadable(IErrorInfoContainer& errors)
{
    errors.add(refusal_t::unreadable, g_noChecksum);
}

} // namespace

ChecksumValidator::ChecksumValidator(ObjectPtr<IChecksumCalculator> calculator, file_kind_t kind,
                                     ObjectPtr<IChecksum> expected,
                                     ObjectPtr<IMessage> binaryMismatch,
                                     ObjectPtr<IMessage> symbolMismatch,
                                     ObjectPtr<IMessage> sourceMismatch)
    : m_calculator(std::move(calculator)), m_kind(kind), m_expected(std::move(expected)),
      m_binaryMismatch(std::move(binaryMismatch)), m_symbolMismatch(std::move(symbolMismatch)),
      m_sourceMismatch(std::move(sourceMismatch))
{
}

validation_result_t ChecksumValidator::validate(const char* path, IErrorInfoContainer& errors)
{
    if (!m_expected) return validation_result_t::passed;
    const ObjectPtr<IChecksum> found =
        m_calculator ? m_calculator->calculateChecksum(path) : ObjectPtr<IChecksum>();
    if (!found) {
        if (m_kind == symbolFileKind)
            fillErrorMessageForSymFile(path, errors);
        else if (m_kind == sourceFileKind)
            fillErrorMessageForSrcFile(path, errors);
        else
            fillErrorMessageForBinFile(path, errors);
        return validation_result_t::untested;
    }
    if (found->equals(*m_expected)) return validation_result_t::passed;
    if (m_kind == symbolFileKind)
        fillErrorMessageForSymFile(path, errors, found->getText());
    else if (m_kind == sourceFileKind)
        fillErrorMessageForSrcFile(path, errors, found->getText());
    else
        fillErrorMessageForBinFile(path, errors, found->getText());
    return validation_result_t::refused;
}

void ChecksumValidator::addMismatch(const IMessage* message, const char* found,
                                    IErrorInfoContainer& errors) const
{
    std::string text = message != nullptr ? message->getText() : "another checksum than expected";
    text += std::string(": its MD5 is ") + found;
    if (m_expected) text += std::string(" and not ") + m_expected->getText();
    errors.add(refusal_t::checksum, text.c_str());
}

void ChecksumValidator::fillErrorMessageForBinFile(const char*, IErrorInfoContainer& errors,
                                                   const char* found) const
{
    addMismatch(m_binaryMismatch.get(), found, errors);
}

void ChecksumValidator::fillErrorMessageForSymFile(const char*, IErrorInfoContainer& errors,
                                                   const char* found) const
{
    addMismatch(m_symbolMismatch.get(), found, errors);
}

void ChecksumValidator::fillErrorMessageForSrcFile(const char*, IErrorInfoContainer& errors,
                                                   const char* found) const
{
    addMismatch(m_sourceMismatch.get(), found, errors);
}

void ChecksumValidator::fillErrorMessageForBinFile(const char*, IErrorInfoContainer& errors) const
{
    addUnreadable(errors);
}

void ChecksumValidator::fillErrorMessageForSymFile(const char*, IErrorInfoContainer& errors) const
{
    addUnreadable(errors);
}

void ChecksumValidator::fillErrorMessageForSrcFile(const char*, IErrorInfoContainer& errors) const
{
    addUnreadable(errors);
}

} // namespace SEEK_2_13
