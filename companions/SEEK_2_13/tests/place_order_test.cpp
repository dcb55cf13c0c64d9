// The order of places: each wins over all behind it, and lets them come when it has a wrong file.

#include "seek_fixture.h"

#include <filesystem>

namespace {

using SEEK_2_13::attempt_t;
using SEEK_2_13::binaryFileKind;
using SEEK_2_13::IFileSearch;
using SEEK_2_13::ISymbolFileValidatorCallback;
using SEEK_2_13::ObjectPtr;
using SEEK_2_13::place_t;
using SEEK_2_13::refusal_t;
using SEEK_2_13::symbolFileKind;
using seek_test::put;
using seek_test::SampleElf;
using seek_test::SeekTest;
using seek_test::told;

using Candidates = std::vector<std::pair<place_t, std::string>>;

class PlaceOrder : public SeekTest {
protected:
    /// For each candidate: wrong files before it, right ones from it on; it must be found, and
    /// the attempts must be exactly those up to it.
    template <class Find, class Attempts>
    void expectOrder(const Candidates& candidates, const Find& findIt,
                     const Attempts& attempts) const
    {
        const auto tried = [&] {
            std::vector<attempt_t> list = attempts();
            // The cache's older form has a file where the newer one has its folder.
            std::erase_if(list, [&](const attempt_t& one) {
                return one.path == at("cache/" + link) && one.refusal == refusal_t::notRegular;
            });
            return list;
        };
        for (std::size_t winner = 0; winner < candidates.size(); ++winner) {
            std::vector<std::string> expected;
            for (std::size_t i = 0; i < candidates.size(); ++i) {
                const auto& [place, path] = candidates[i];
                std::filesystem::remove(path);
                put(path, i < winner ? wrong : right);
                if (i <= winner)
                    expected.push_back(
                        told(place, path, i < winner ? refusal_t::buildId : refusal_t::none));
            }
            EXPECT_EQ(findIt(), candidates[winner].second);
            EXPECT_EQ(told(tried()), expected) << winner;
        }
        for (const auto& [place, path] : candidates)
            put(path, wrong);
        EXPECT_EQ(findIt(), "");
        EXPECT_EQ(tried().size(), candidates.size());
    }

    const std::string right = SampleElf::withId(SampleElf::rightId);
    const std::string wrong = SampleElf::withId(SampleElf::wrongId);
    const std::string id{SampleElf::rightId};
    const std::string link = ".build-id/01/" + id.substr(2);
};

TEST_F(PlaceOrder, ofABinaryWithAnExpectedBuildId)
{
    expectId(SampleElf::rightId);
    data.substitutions.push_back({at("machine"), at("sysroot")});
    addDir(binaryFileKind, at("dir"));
    Candidates candidates = {
        {place_t::substitution, at("sysroot/opt/app/tool.so")},
        {place_t::path, module},
        {place_t::buildIdLink, at("dir/" + link)},
        {place_t::buildIdLink, result + "/archive/" + link},
        {place_t::buildIdLink, at("debug/" + link)},
        {place_t::buildIdCache, at("cache/" + link + "/elf")},
        {place_t::buildIdCache, at("cache/" + link + "/vdso")},
        {place_t::buildIdCache, at("cache") + module + "/" + id + "/elf"},
        {place_t::buildIdCache, at("cache") + module + "/" + id + "/vdso"},
    };
    for (std::size_t i = 0; i != std::string::npos; i = module.find('/', i + 1))
        candidates.emplace_back(place_t::addedDirectory, at("dir") + module.substr(i));
    candidates.emplace_back(place_t::archive, result + "/archive" + module);
    candidates.emplace_back(place_t::archive, result + "/archive/tool.so");
    const ObjectPtr<IFileSearch> searching = search();
    expectOrder(
        candidates, [&] { return findBy(*searching, module); },
        [&] { return searching->getAttempts(module.c_str()); });
}

TEST_F(PlaceOrder, theOlderFormOfTheCacheIsAFile)
{
    expectId(SampleElf::rightId);
    put(at("cache/" + link), right);
    put(at("cache") + module + "/" + id + "/elf", right);
    EXPECT_EQ(find(module), at("cache/" + link));
}

TEST_F(PlaceOrder, ofASymbolFile)
{
    const std::string binary = put(module, SampleElf::stripped(SampleElf::rightId));
    data.substitutions.push_back({at("machine"), at("sysroot")});
    addDir(symbolFileKind, at("dir"));
    const std::string home = module.substr(0, module.rfind('/'));
    Candidates candidates = {
        {place_t::substitution, at("sysroot/opt/app/tool.dbg")},
        {place_t::besideBinary, home + "/tool.dbg"},
        {place_t::buildIdLink, at("dir/" + link + ".debug")},
        {place_t::buildIdLink, result + "/archive/" + link + ".debug"},
        {place_t::buildIdLink, at("debug/" + link + ".debug")},
        {place_t::buildIdCache, at("cache/" + link + "/debug")},
        {place_t::buildIdCache, at("cache/" + link + "/elf")},
        {place_t::buildIdCache, at("cache/" + link + "/vdso")},
        {place_t::buildIdCache, at("cache") + module + "/" + id + "/debug"},
        {place_t::buildIdCache, at("cache") + module + "/" + id + "/elf"},
        {place_t::buildIdCache, at("cache") + module + "/" + id + "/vdso"},
    };
    for (const std::string& name : {home + "/tool.dbg", module + ".debug", module})
        for (std::size_t i = 0; i != std::string::npos; i = name.find('/', i + 1))
            candidates.emplace_back(place_t::addedDirectory, at("dir") + name.substr(i));
    for (const std::string& name : {home + "/tool.dbg", module + ".debug", module}) {
        candidates.emplace_back(place_t::archive, result + "/archive" + name);
        candidates.emplace_back(place_t::archive,
                                result + "/archive" + name.substr(name.rfind('/')));
    }
    candidates.emplace_back(place_t::besideBinary, home + "/.debug/tool.dbg");
    candidates.emplace_back(place_t::debugRoot, at("debug") + home + "/tool.dbg");
    candidates.emplace_back(place_t::debugRoot, at("debug") + module + ".debug");

    const ObjectPtr<IFileSearch> searching = search();
    const auto validator = ISymbolFileValidatorCallback::create(binary.c_str());
    const std::string beside = home + "/tool.dbg";
    const auto findIt = [&]() -> std::string {
        const auto file = searching->findSymbolFile("tool.dbg", binary.c_str(), 0, validator.get(),
                                                    beside.c_str(), 0, 0);
        return file ? file->getPath() : "";
    };
    expectOrder(candidates, findIt, [&] { return searching->getSymbolAttempts(binary.c_str()); });
}

TEST_F(PlaceOrder, ofABinaryWithoutAnExpectedBuildId)
{
    put(at("cache/" + link + "/elf"), right);
    put(at("debug/" + link), right);
    data.substitutions.push_back({at("machine"), at("sysroot")});
    addDir(binaryFileKind, at("dir"));
    Candidates candidates = {{place_t::substitution, at("sysroot/opt/app/tool.so")},
                             {place_t::path, module}};
    for (std::size_t i = 0; i != std::string::npos; i = module.find('/', i + 1))
        candidates.emplace_back(place_t::addedDirectory, at("dir") + module.substr(i));
    candidates.emplace_back(place_t::archive, result + "/archive" + module);
    candidates.emplace_back(place_t::archive, result + "/archive/tool.so");
    for (const auto& [place, path] : candidates)
        put(path, "of any content");
    std::vector<std::string> expected;
    for (const auto& [place, path] : candidates) {
        expected.push_back(told(place, path, refusal_t::none));
        const ObjectPtr<IFileSearch> searching = search();
        EXPECT_EQ(findBy(*searching, module), path);
        EXPECT_EQ(told(searching->getAttempts(module.c_str())), expected);
        expected.back() = told(place, path, refusal_t::notFound);
        std::filesystem::remove(path);
    }
    EXPECT_EQ(find(module), "");
}

TEST_F(PlaceOrder, rulesOfSubstitutionCountInTheirOrderAndAtWholeElements)
{
    put(at("first/opt/app/tool.so"), "first");
    put(at("second/app/tool.so"), "second");
    data.substitutions = {
        {at("mach"), at("cut")}, {at("machine/opt"), at("second")}, {at("machine/"), at("first/")}};
    put(at("cut") + "ine/opt/app/tool.so", "by part of an element");
    EXPECT_EQ(find(module), at("second/app/tool.so"));
    std::filesystem::remove(at("second/app/tool.so"));
    EXPECT_EQ(find(module), at("first/opt/app/tool.so"));
    std::filesystem::remove(at("first/opt/app/tool.so"));
    EXPECT_EQ(find(module), "");
}

TEST_F(PlaceOrder, aRelativeNameIsNotLookedForInTheCurrentFolder)
{
    const std::string name = "seek_decoy_in_the_current_folder";
    put("./" + name, "decoy");
    put(result + "/archive/" + name, "right");
    EXPECT_EQ(find(name), result + "/archive/" + name);
    std::filesystem::remove(name);
}

TEST_F(PlaceOrder, aPathWithDotsDoesNotLeaveTheFolderItIsPutBehind)
{
    put(at("secret"), "secret");
    addDir(binaryFileKind, at("dir"));
    put(at("dir/x"), "x");
    EXPECT_EQ(find("/../secret"), "");
    EXPECT_EQ(find("../secret"), "");
    EXPECT_EQ(find("a/../../secret"), "");
    EXPECT_EQ(find("a/../../x"), at("dir/x"));
}

TEST_F(PlaceOrder, namesThatAreNoFileNamesFindNothing)
{
    addDir(binaryFileKind, at("machine"), true);
    put(module, "tool");
    for (const char* name : {"/", "..", ".", "//", "[vdso]", "//anon"})
        EXPECT_EQ(find(name), "") << name;
    EXPECT_FALSE(search()->findFile(nullptr, nullptr, 0, 0));
    EXPECT_FALSE(search()->findFile("", nullptr, 0, 0));
}

} // namespace
