#pragma once

#include <rowvault1/result.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace samplefold::report {

/// What a place in code is called in a report.
struct CodeLabel {
    std::string text;       ///< the function's name, or module+0xRVA, or the address
    std::string module;     ///< path of the module; empty outside modules
    std::string moduleName; ///< its file name
    bool isFunction = false;
};

/// The labels of all places in code of a result. All places of a function have one label; two
/// functions of one name have the same label when their modules have one path. Read in bulk; memory
/// grows with the places in code, not with the call chains. One thread at a time.
class CodeLabels {
public:
    using Key = std::uint32_t;
    static constexpr Key noCaller = 0; ///< stands for what is outside the outermost frame
    static constexpr Key unknown = 1;  ///< a place that the result does not tell

    /// Throws rowvault1::StoreError.
    explicit CodeLabels(rowvault1::IResult& result);

    /// Label of a row of dd_code_location.
    Key of(std::int64_t location) const;
    const CodeLabel& operator[](Key key) const { return m_labels[key]; }
    std::size_t size() const { return m_labels.size(); }

private:
    struct Module {
        std::string path;
        std::string name;
    };
    struct Function {
        std::string name;
        std::int64_t module;
    };

    void readModules(rowvault1::IResult& result);
    void readFunctions(rowvault1::IResult& result);
    void readPlaces(rowvault1::IResult& result);
    Key intern(const CodeLabel& label);

    std::unordered_map<std::int64_t, Module> m_modules;
    std::unordered_map<std::int64_t, Function> m_functions;
    std::unordered_map<std::int64_t, Key> m_byLocation;
    std::unordered_map<std::string, Key> m_byName;
    std::vector<CodeLabel> m_labels;
};

} // namespace samplefold::report
