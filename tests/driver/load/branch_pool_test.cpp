#include "branch_fixture.h"

#include "load/branch_pool.h"

namespace samplefold::load::testing {
namespace {

class BranchPoolTest : public BranchTest {
protected:
    /// Stacks of several kinds, so many that several workers take part.
    std::vector<BranchTask> manyTasks()
    {
        std::vector<BranchTask> tasks;
        for (int round = 0; round < 100; ++round) {
            tasks.push_back(task({"leaf_middle", "work_after_leaf", "..."},
                                 {{"work_calls_leaf", "leaf"}, {"main_calls_work", "work"}}));
            tasks.push_back(task({"library:apply_after"}, {{"main_calls_apply", "apply@plt"}}));
            tasks.push_back(task({"case_zero"}, {{"main_calls_hop", "select"}}));
            tasks.push_back(task({"leaf_middle"}, {{"work_calls_leaf", "leaf_middle"}}));
        }
        return tasks;
    }
};

TEST_F(BranchPoolTest, ManyWorkersComeToWhatOneDoes)
{
    const BranchSetting setting = settingOf({});
    BranchPool pool(setting, result->database(), resultFolder);
    prepare(pool);
    std::vector<BranchTask> together = manyTasks();
    pool.run(together);

    std::vector<BranchTask> alone = manyTasks();
    BranchResolver one(setting, result->database(), resultFolder);
    prepare(one);
    for (BranchTask& task : alone)
        one.resolve(task);
    for (std::size_t i = 0; i < alone.size(); ++i) {
        ASSERT_EQ(addressesOf(together[i]), addressesOf(alone[i])) << i;
        ASSERT_EQ(together[i].verdicts, alone[i].verdicts) << i;
        ASSERT_EQ(together[i].merge, alone[i].merge) << i;
    }
}

TEST_F(BranchPoolTest, NothingToDoIsDone)
{
    const BranchSetting setting = settingOf({});
    BranchPool(setting, result->database(), resultFolder).run({});
}

} // namespace
} // namespace samplefold::load::testing
