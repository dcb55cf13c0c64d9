#pragma once

#include <SEEK_2_13/file_search.h>

#include <functional>
#include <set>
#include <string>
#include <vector>

namespace SEEK_2_13 {

/// One search's candidates: tests each, and notes what came of it.
class Trial {
public:
    using Validate = std::function<validation_result_t(const char* path, IErrorInfoContainer&)>;

    /// Candidates must have the build id `expectedId`, unless that is empty, and pass `validate`,
    /// unless that is empty.
    Trial(std::string expectedId, Validate validate)
        : m_expectedId(std::move(expectedId)), m_validate(std::move(validate))
    {
    }

    /// Whether the file at `path` is taken. A path that was tried before is not tried again.
    bool takes(place_t place, const std::string& path);
    /// The same of a file whose build id is known from elsewhere.
    bool takes(place_t place, const std::string& path, const std::string& knownId);
    /// Notes a candidate that is not tested, or a place that was not searched to its end.
    void note(place_t place, const std::string& path, refusal_t refusal, std::string detail);

    const std::string& expectedId() const noexcept { return m_expectedId; }
    /// The path that was taken; empty when there is none yet.
    const std::string& taken() const noexcept { return m_taken; }
    std::vector<attempt_t> releaseAttempts() { return std::move(m_attempts); }

private:
    bool test(place_t place, const std::string& path, const std::string* knownId);
    refusal_t testBuildId(const std::string& path, const std::string* knownId,
                          std::string& detail) const;
    refusal_t askValidator(const std::string& path, std::string& detail) const;

    std::string m_expectedId;
    Validate m_validate;
    std::set<std::string> m_tried;
    std::vector<attempt_t> m_attempts;
    std::string m_taken;
};

} // namespace SEEK_2_13
