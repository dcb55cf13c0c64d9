#include <SEEK_2_13/error_info.h>

namespace SEEK_2_13 {
namespace {

class ErrorInfoContainer : public IErrorInfoContainer {
public:
    void add(refusal_t reason, const char* text) override
    {
        m_errors.push_back({reason, text != nullptr ? text : ""});
    }
    const std::vector<error_info_t>& getErrors() const noexcept override { return m_errors; }

private:
    std::vector<error_info_t> m_errors;
};

} // namespace

const char* refusalName(refusal_t refusal) noexcept
{
    switch (refusal) {
    case refusal_t::none:
        return "taken";
    case refusal_t::notFound:
        return "not found";
    case refusal_t::notRegular:
        return "not a regular file";
    case refusal_t::unreadable:
        return "unreadable";
    case refusal_t::buildId:
        return "build id";
    case refusal_t::checksum:
        return "checksum";
    case refusal_t::debugLink:
        return "debug link";
    case refusal_t::architecture:
        return "architecture";
    case refusal_t::noSymbols:
        return "no symbols";
    case refusal_t::otherKernel:
        return "other kernel";
    case refusal_t::noIdentity:
        return "no identity";
    case refusal_t::unfinished:
        return "unfinished";
    case refusal_t::validator:
        return "validator";
    }
    return "unknown";
}

ObjectPtr<IErrorInfoContainer> IErrorInfoContainer::create()
{
    return new tb2::ref_counted_t<ErrorInfoContainer>();
}

} // namespace SEEK_2_13
