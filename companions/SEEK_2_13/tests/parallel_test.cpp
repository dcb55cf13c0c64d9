// Searches on several threads at once; run under the thread sanitizer too.

#include "seek_fixture.h"

#include <atomic>
#include <latch>
#include <thread>

namespace {

using SEEK_2_13::attempt_t;
using SEEK_2_13::binaryFileKind;
using SEEK_2_13::IEditableSearchDirContainer;
using SEEK_2_13::IFileSearch;
using SEEK_2_13::IResolutionContextMgr;
using SEEK_2_13::ObjectPtr;
using seek_test::put;
using seek_test::SampleElf;
using seek_test::SeekTest;

class Parallel : public SeekTest {
protected:
    static constexpr int threads = 8;

    template <class Work>
    static void onThreads(const Work& work)
    {
        std::latch start(threads);
        std::vector<std::jthread> running;
        running.reserve(threads);
        for (int number = 0; number < threads; ++number)
            running.emplace_back([&start, &work, number] {
                start.arrive_and_wait();
                work(number);
            });
    }
};

TEST_F(Parallel, oneSearchAnswersAllThreadsAlike)
{
    constexpr int modules = 40;
    addDir(binaryFileKind, at("tree"), true);
    const std::string right = SampleElf::withId(SampleElf::rightId);
    const std::string wrong = SampleElf::withId(SampleElf::wrongId);
    std::vector<std::string> paths;
    for (int i = 0; i < modules; ++i) {
        const std::string name = "m" + std::to_string(i);
        data.buildIds[name] = SampleElf::rightId;
        put(at("tree/a/" + name), wrong);
        paths.push_back(put(at("tree/b/" + name), right));
    }
    const ObjectPtr<IFileSearch> searching = search();
    std::atomic<int> good{0};
    onThreads([&](int number) {
        for (int i = 0; i < modules; ++i) {
            const int which = (i + number * 5) % modules;
            const std::string name = "m" + std::to_string(which);
            const auto file = searching->findFile(name.c_str(), nullptr, 0, 0);
            const std::vector<attempt_t> attempts = searching->getAttempts(name.c_str());
            if (file && file->getPath() == paths[static_cast<std::size_t>(which)] &&
                attempts.back().path == file->getPath())
                ++good;
        }
    });
    EXPECT_EQ(good, threads * modules);
}

TEST_F(Parallel, directoriesAreAddedAndDataRecordedWhileOthersSearch)
{
    put(at("last/tool"), "tool");
    const ObjectPtr<IEditableSearchDirContainer> dirs = IEditableSearchDirContainer::create();
    record();
    const auto context = manager->openContext(result.c_str());
    manager->bindSearchDirs(context, dirs, "label");
    const ObjectPtr<IFileSearch> searching = manager->createFileSearch(context, "client", {});
    onThreads([&](int number) {
        for (int i = 0; i < 25; ++i) {
            const std::string dir = at("d" + std::to_string(number) + "_" + std::to_string(i));
            if (number % 4 == 0)
                dirs->addSearchDir(binaryFileKind, dir.c_str(), i % 2 == 0, true, 0);
            else if (number % 4 == 1)
                context->record(data);
            else
                searching->findFile("tool", nullptr, 0, 0);
        }
    });
    EXPECT_EQ(dirs->getSearchDirs(binaryFileKind).size(), 50U);
    dirs->addSearchDir(binaryFileKind, at("last").c_str(), false, true, 0);
    EXPECT_EQ(findBy(*searching, "tool"), at("last/tool"));
}

TEST_F(Parallel, contextsAndSearchesComeAndGoAtOnce)
{
    put(module, "tool");
    record();
    std::atomic<int> found{0};
    onThreads([&](int number) {
        for (int i = 0; i < 20; ++i) {
            const auto own = IResolutionContextMgr::create();
            const auto parent = own->openContext(result.c_str());
            const auto child = own->openChildContext((result + "/part").c_str(), true);
            own->linkContexts(child, parent);
            const std::string client = "client" + std::to_string(number % 2);
            const auto searching = own->createFileSearch(child, client.c_str(), {});
            if (searching->findFile(module.c_str(), nullptr, 0, 0)) ++found;
        }
    });
    EXPECT_EQ(found, threads * 20);
}

} // namespace
