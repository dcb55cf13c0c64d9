#include <samplefold_1/loader_context.h>

#include <toolbelt2/path.h>

#include <boost/tokenizer.hpp>

namespace samplefold_1 {

LoaderContext::JitPathOptionParser::JitPathOptionParser(const std::string& option)
{
    using separator_t = boost::char_separator<char>;
    const separator_t semicolon(";");
    for (const std::string& token : boost::tokenizer<separator_t>(option, semicolon)) {
        if (tb2::path_t::is_directory(token)) paths.push_back(token);
    }
    // After the last path: a vector that grows moves its texts.
    cStrings.reserve(paths.size());
    for (const std::string& path : paths)
        cStrings.push_back(path.c_str());
}

LoaderContext::JitPathOptionParser::~JitPathOptionParser() = default;

} // namespace samplefold_1
