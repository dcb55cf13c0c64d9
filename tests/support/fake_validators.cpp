#include "support/fake_file_search.h"

// The part of the fake that tests files.
using samplefold_test::fakeFileSearch;

namespace samplefold_test {
namespace {

using namespace SEEK_2_13;

class Checksum : public IChecksum {
public:
    explicit Checksum(std::string text) : m_text(std::move(text)) {}
    const char* getText() const noexcept override { return m_text.c_str(); }
    bool equals(const IChecksum& other) const noexcept override
    {
        return m_text == other.getText();
    }

private:
    std::string m_text;
};

class Calculator : public IChecksumCalculator {
public:
    ObjectPtr<IChecksum> calculateChecksum(const char* path) const override
    {
        fakeFileSearch().note("calculateChecksum " + std::string(path));
        return makeFake<Checksum>("checksum", fakeFileSearch().onCalculate(path));
    }
    ObjectPtr<IChecksum> parseChecksum(std::uint32_t kind, const char* text) const override
    {
        fakeFileSearch().note("parseChecksum " + std::to_string(kind) + " " + text);
        return makeFake<Checksum>("checksum", text);
    }
};

class ArchValidator : public IBinFileArchValidatorCallback {
public:
    explicit ArchValidator(bin_file_architecture_t architecture) : m_architecture(architecture) {}
    validation_result_t validate(const char* path, IErrorInfoContainer&) const override
    {
        fakeFileSearch().note("architecture " + std::to_string(m_architecture) + " " + path);
        const auto& verdict = fakeFileSearch().onArchitecture;
        return verdict ? verdict(path) : validation_result_t::passed;
    }

private:
    bin_file_architecture_t m_architecture;
};

class SymbolValidator : public ISymbolFileValidatorCallback {
public:
    const char* getExpectedSymbolFileName() const noexcept override
    {
        const std::string& name = fakeFileSearch().expectedSymbolName;
        return name.empty() ? nullptr : name.c_str();
    }
    const char* getBuildId() const noexcept override { return ""; }
    validation_result_t validate(const char*, IErrorInfoContainer&) const override
    {
        return validation_result_t::passed;
    }
};

class Message : public IMessage {
public:
    const char* getText() const noexcept override { return "another file"; }
};

class MessageMgr : public IMessageMgr {
public:
    ObjectPtr<IMessage> getBinaryMismatchMessage() const override { return makeFake<Message>("m"); }
    ObjectPtr<IMessage> getSymbolMismatchMessage() const override { return makeFake<Message>("m"); }
    ObjectPtr<IMessage> getSourceMismatchMessage() const override { return makeFake<Message>("m"); }
};

class Errors : public IErrorInfoContainer {
public:
    void add(refusal_t, const char*) override {}
    const std::vector<error_info_t>& getErrors() const noexcept override { return m_none; }

private:
    std::vector<error_info_t> m_none;
};

} // namespace
} // namespace samplefold_test

namespace SEEK_2_13 {

using samplefold_test::makeFake;

ObjectPtr<IChecksumCalculator> IChecksumCalculator::create()
{
    return makeFake<samplefold_test::Calculator>("calculator");
}

ObjectPtr<IMessageMgr> IMessageMgr::create()
{
    return makeFake<samplefold_test::MessageMgr>("messageMgr");
}

ObjectPtr<IErrorInfoContainer> IErrorInfoContainer::create()
{
    return makeFake<samplefold_test::Errors>("errors");
}

ObjectPtr<IBinFileArchValidatorCallback>
IBinFileArchValidatorCallback::create(bin_file_architecture_t architecture)
{
    return makeFake<samplefold_test::ArchValidator>("archValidator", architecture);
}

ObjectPtr<ISymbolFileValidatorCallback> ISymbolFileValidatorCallback::create(const char* binaryPath)
{
    fakeFileSearch().note("symbolValidator " + std::string(binaryPath));
    return makeFake<samplefold_test::SymbolValidator>("symbolValidator");
}

ChecksumValidator::ChecksumValidator(ObjectPtr<IChecksumCalculator> calculator, file_kind_t kind,
                                     ObjectPtr<IChecksum> expected,
                                     ObjectPtr<IMessage> binaryMismatch,
                                     ObjectPtr<IMessage> symbolMismatch,
                                     ObjectPtr<IMessage> sourceMismatch)
    : m_calculator(std::move(calculator)), m_kind(kind), m_expected(std::move(expected)),
      m_binaryMismatch(std::move(binaryMismatch)), m_symbolMismatch(std::move(symbolMismatch)),
      m_sourceMismatch(std::move(sourceMismatch))
{
    fakeFileSearch().note(
        "checksumValidator " + std::to_string(m_kind) + " " +
        (m_expected ? m_expected->getText() : "none") +
        (m_binaryMismatch && m_symbolMismatch && m_sourceMismatch ? " messages" : ""));
}

validation_result_t ChecksumValidator::validate(const char* path, IErrorInfoContainer&)
{
    if (!m_expected) return validation_result_t::passed;
    fakeFileSearch().note("checksum " + std::string(path));
    const auto& verdict = fakeFileSearch().onChecksum;
    return verdict ? verdict(path) : validation_result_t::passed;
}

void ChecksumValidator::fillErrorMessageForBinFile(const char*, IErrorInfoContainer&,
                                                   const char*) const
{
}
void ChecksumValidator::fillErrorMessageForSymFile(const char*, IErrorInfoContainer&,
                                                   const char*) const
{
}
void ChecksumValidator::fillErrorMessageForSrcFile(const char*, IErrorInfoContainer&,
                                                   const char*) const
{
}
void ChecksumValidator::fillErrorMessageForBinFile(const char*, IErrorInfoContainer&) const {}
void ChecksumValidator::fillErrorMessageForSymFile(const char*, IErrorInfoContainer&) const {}
void ChecksumValidator::fillErrorMessageForSrcFile(const char*, IErrorInfoContainer&) const {}

} // namespace SEEK_2_13
