#pragma once

#include <rowvault1/result.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace samplefold::report {

/// Functions of one name in one module.
struct ChosenFunction {
    std::string name;
    std::string module;             ///< its path; empty when the function tells none
    std::vector<std::int64_t> keys; ///< rows of dd_function
};

/// The functions that have code of their own and are called `name`: exactly or in the form that the
/// module has the name in; else without their parameters; else the only one whose name contains it.
/// `module`, unless empty, is the name or the path of the module that they must be in. Throws
/// rowvault1::StoreError, and ReportError with names that are near when there is none.
std::vector<ChosenFunction> chooseFunctions(rowvault1::IResult& result, const std::string& name,
                                            const std::string& module);

/// The name without its parameters and what stands behind them: "ns::f" of "ns::f(int) const".
std::string_view withoutParameters(std::string_view name);

} // namespace samplefold::report
