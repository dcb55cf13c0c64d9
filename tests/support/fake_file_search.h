#pragma once

#include <SEEK_2_13/file_search.h>

#include <cstdint>
#include <functional>
#include <mutex>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace samplefold_test {

/// Stands in for the whole file search library: a test that links fake_file_search.cpp and
/// fake_validators.cpp has its objects from here. They note every call, and answer what the test
/// writes down.
class FakeFileSearch {
public:
    struct symbol_question_t {
        std::string expected; ///< "null" for null
        std::string binary;
        std::string candidate;
        friend bool operator==(const symbol_question_t&, const symbol_question_t&) = default;
    };

    /// Everything as at the start of the program, for the next test.
    void reset();

    void note(std::string line)
    {
        const std::lock_guard hold(m_lock);
        m_calls.push_back(std::move(line));
    }
    /// The calls since the last call of this, a line each.
    std::vector<std::string> take()
    {
        const std::lock_guard hold(m_lock);
        return std::exchange(m_calls, {});
    }
    bool isMissing(const char* what) const { return missing.contains(what); }

    /// What comes as null: "contextMgr", "context", "search", "calculator", "checksum",
    /// "symbolValidator".
    std::set<std::string> missing;
    /// The path that findFile finds, empty for none. Called on the thread that searches.
    std::function<std::string(const std::string& name, SEEK_2_13::IFileValidator* validator,
                              std::uint32_t flags)>
        onFindFile;
    std::function<std::string(const symbol_question_t&)> onFindSymbols;
    /// Verdicts on a path; the checksum is asked for only where one is expected.
    std::function<SEEK_2_13::validation_result_t(const std::string& path)> onChecksum;
    std::function<SEEK_2_13::validation_result_t(const std::string& path)> onArchitecture;
    /// Checksum of the file at a path.
    std::function<std::string(const std::string& path)> onCalculate;
    std::string expectedSymbolName; ///< empty for null
    bool addSearchDirResult = true;

private:
    std::mutex m_lock;
    std::vector<std::string> m_calls;
};

FakeFileSearch& fakeFileSearch();

/// A counted object of the library, or null when the test wants that of `what`.
template <class Impl, class... Args>
SEEK_2_13::ObjectPtr<Impl> makeFake(const char* what, Args&&... args)
{
    if (fakeFileSearch().isMissing(what)) return nullptr;
    return SEEK_2_13::ObjectPtr<Impl>(new tb2::ref_counted_t<Impl>(std::forward<Args>(args)...));
}

} // namespace samplefold_test
