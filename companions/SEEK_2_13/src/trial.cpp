#include "trial.h"

#include "build_id.h"
#include "elf_identity.h"
#include "regular_file.h"

namespace SEEK_2_13 {

bool Trial::takes(place_t place, const std::string& path)
{
    return test(place, path, nullptr);
}

bool Trial::takes(place_t place, const std::string& path, const std::string& knownId)
{
    return test(place, path, &knownId);
}

void Trial::note(place_t place, const std::string& path, refusal_t refusal, std::string detail)
{
    m_attempts.push_back({place, path, refusal, std::move(detail)});
}

bool Trial::test(place_t place, const std::string& path, const std::string* knownId)
{
    if (path.empty() || !m_tried.insert(path).second) return false;
    std::string detail;
    refusal_t refusal = RegularFile().open(path, detail);
    if (refusal == refusal_t::none) refusal = testBuildId(path, knownId, detail);
    if (refusal == refusal_t::none) refusal = askValidator(path, detail);
    note(place, path, refusal, std::move(detail));
    if (refusal == refusal_t::none) m_taken = path;
    return refusal == refusal_t::none;
}

refusal_t Trial::testBuildId(const std::string& path, const std::string* knownId,
                             std::string& detail) const
{
    if (m_expectedId.empty()) return refusal_t::none;
    elf_identity_t identity;
    if (knownId != nullptr) {
        identity.buildId = *knownId;
    } else if (const refusal_t refusal = readElfIdentity(path, identity, detail);
               refusal != refusal_t::none) {
        return refusal;
    }
    if (buildIdFits(m_expectedId, identity.buildId)) return refusal_t::none;
    detail = identity.buildId.empty() ? "it has none" : "its build id is " + identity.buildId;
    return refusal_t::buildId;
}

refusal_t Trial::askValidator(const std::string& path, std::string& detail) const
{
    if (!m_validate) return refusal_t::none;
    const ObjectPtr<IErrorInfoContainer> errors = IErrorInfoContainer::create();
    if (m_validate(path.c_str(), *errors) == validation_result_t::passed) return refusal_t::none;
    if (errors->getErrors().empty()) return refusal_t::validator;
    const error_info_t& first = errors->getErrors().front();
    detail = first.text;
    return first.reason;
}

} // namespace SEEK_2_13
