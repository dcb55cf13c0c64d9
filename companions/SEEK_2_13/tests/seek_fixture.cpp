#include "seek_fixture.h"

#include <stdexcept>

namespace seek_test {

using SEEK_2_13::attempt_t;
using SEEK_2_13::file_kind_t;
using SEEK_2_13::IFileSearch;
using SEEK_2_13::IFileValidator;
using SEEK_2_13::IResolutionContext;
using SEEK_2_13::IResolutionContextMgr;
using SEEK_2_13::IValidFile;
using SEEK_2_13::ObjectPtr;
using SEEK_2_13::place_t;
using SEEK_2_13::placeName;
using SEEK_2_13::refusal_t;
using SEEK_2_13::refusalName;

SeekTest::SeekTest()
{
    data.places.debugRoot = at("debug");
    data.places.buildIdCache = at("cache");
    data.places.bootFolder = at("boot");
    data.places.kernelCore = at("kcore");
    data.places.kernelNotes = at("notes");
}

void SeekTest::record() const
{
    std::string fault;
    const ObjectPtr<IResolutionContext> context = manager->openContext(result.c_str(), &fault);
    if (!context || !context->record(data, &fault)) throw std::runtime_error(fault);
}

ObjectPtr<IFileSearch> SeekTest::search() const
{
    record();
    std::string fault;
    const auto context = IResolutionContextMgr::create()->openContext(result.c_str(), &fault);
    if (!context) throw std::runtime_error(fault);
    return manager->createFileSearch(context, "client", {});
}

std::string SeekTest::findBy(IFileSearch& search, const std::string& name,
                             IFileValidator* validator, std::uint32_t flags)
{
    const ObjectPtr<IValidFile> file = search.findFile(name.c_str(), validator, 0, flags);
    return file ? file->getPath() : "";
}

std::string SeekTest::find(const std::string& name, IFileValidator* validator,
                           std::uint32_t flags) const
{
    return findBy(*search(), name, validator, flags);
}

void SeekTest::addDir(file_kind_t kind, const std::string& path, bool below, std::uint32_t order)
{
    data.directories.push_back({kind, path, below, order});
}

std::string told(place_t place, const std::string& path, refusal_t refusal)
{
    return std::string(placeName(place)) + "|" + path + "|" + refusalName(refusal);
}

std::vector<std::string> told(const std::vector<attempt_t>& attempts)
{
    std::vector<std::string> lines;
    for (const attempt_t& attempt : attempts)
        lines.push_back(told(attempt.place, attempt.path, attempt.refusal));
    return lines;
}

} // namespace seek_test
