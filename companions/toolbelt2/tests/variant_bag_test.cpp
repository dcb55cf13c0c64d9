#include <toolbelt2/variant_bag.h>

#include <gtest/gtest.h>

#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace {

namespace fs = std::filesystem;
using tb2::status_t;
using tb2::variant_bag_t;
using tb2::variant_t;
namespace status = tb2::status;

class VariantBag : public testing::Test {
protected:
    VariantBag()
    {
        std::string pattern = (fs::temp_directory_path() / "bag_XXXXXX").string();
        m_folder = ::mkdtemp(pattern.data());
    }
    ~VariantBag() override { fs::remove_all(m_folder); }

    std::string path() const { return (m_folder / "file").string(); }
    void write(const std::string& text) const { std::ofstream(path(), std::ios::binary) << text; }
    std::string text() const
    {
        std::ifstream file(path(), std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }
    status_t load() { return tb2::load_variant_bag2(bag, path(), "bag", false); }
    status_t loadText(const std::string& content)
    {
        write(content);
        return load();
    }
    std::size_t files() const
    {
        return static_cast<std::size_t>(
            std::distance(fs::directory_iterator(m_folder), fs::directory_iterator()));
    }

    variant_bag_t bag;

private:
    fs::path m_folder;
};

TEST_F(VariantBag, AKeyMayComeAgainAndTheFirstValueIsFound)
{
    bag.put("a", variant_t(1));
    bag.put("a", variant_t(2));
    ASSERT_NE(bag.get("a"), nullptr);
    EXPECT_EQ(*bag.get("a"), variant_t(1));
    EXPECT_EQ(bag.get("b"), nullptr);
}

TEST_F(VariantBag, BagsOfAKeyAreWalkedInOrderPastAllOthers)
{
    bag.put_bag("module").put("n", variant_t(1));
    bag.put("module", variant_t("a value"));
    bag.put_bag("other").put("n", variant_t(2));
    bag.put_bag("module").put("n", variant_t(3));
    std::vector<std::int32_t> met;
    for (auto child = bag.begin_by_name("module"); !child.atEnd(); child.next())
        met.push_back(child.current().get("n")->as_s32());
    EXPECT_EQ(met, (std::vector<std::int32_t>{1, 3}));
    EXPECT_TRUE(bag.begin_by_name("nothing").atEnd());
}

TEST_F(VariantBag, EveryKindOfValueComesBackFromTheFile)
{
    const variant_t values[] = {variant_t(),
                                variant_t(std::uint16_t{65535}),
                                variant_t(std::int32_t{-7}),
                                variant_t(std::uint32_t{4294967295U}),
                                variant_t(std::int64_t{-9000000000}),
                                variant_t(std::uint64_t{18446744073709551615U}),
                                variant_t(0.1),
                                variant_t("a \"text\"\n\xc3\xa9"),
                                variant_t("\xff no UTF-8"),
                                variant_t("")};
    for (const variant_t& value : values)
        bag.put_bag("entry").put("value", value);
    ASSERT_EQ(tb2::save_variant_bag2(bag, path(), "bag"), status::success);
    ASSERT_EQ(load(), status::success);
    auto child = bag.begin_by_name("entry");
    for (const variant_t& value : values) {
        ASSERT_FALSE(child.atEnd());
        EXPECT_EQ(*child.current().get("value"), value);
        child.next();
    }
    EXPECT_TRUE(child.atEnd());
}

TEST_F(VariantBag, BytesThatAreNoUtf8AreKept)
{
    const std::string bytes("/tmp/\xff\xfe\x80", 8);
    bag.put("path", variant_t(std::string_view(bytes)));
    ASSERT_EQ(tb2::save_variant_bag2(bag, path(), "bag"), status::success);
    ASSERT_EQ(load(), status::success);
    EXPECT_EQ(bag.get("path")->as_text(), bytes);
}

TEST_F(VariantBag, TheFileHasOneRootOfThatName)
{
    bag.put("k", variant_t("v"));
    ASSERT_EQ(tb2::save_variant_bag2(bag, path(), "bag"), status::success);
    EXPECT_EQ(text(), "{\n \"bag\": [\n  {\n   \"key\": \"k\",\n   \"text\": \"v\"\n  }\n ]\n}\n");
    EXPECT_EQ(tb2::load_variant_bag2(bag, path(), "other", false), status::cannotRead);
}

TEST_F(VariantBag, LoadingEmptiesTheBagUnlessItIsToMerge)
{
    bag.put("k", variant_t("v"));
    tb2::save_variant_bag2(bag, path(), "bag");
    variant_bag_t other;
    other.put("mine", variant_t(1));
    EXPECT_EQ(tb2::load_variant_bag2(other, path(), "bag", true), status::success);
    EXPECT_NE(other.get("mine"), nullptr);
    EXPECT_NE(other.get("k"), nullptr);
    EXPECT_EQ(tb2::load_variant_bag2(other, path(), "bag", false), status::success);
    EXPECT_EQ(other.get("mine"), nullptr);
    EXPECT_NE(other.get("k"), nullptr);
}

TEST_F(VariantBag, SavingReplacesTheFileAndLeavesNoOtherBehind)
{
    write("something else");
    bag.put("k", variant_t("v"));
    EXPECT_EQ(tb2::save_variant_bag2(bag, path(), "bag"), status::success);
    EXPECT_EQ(files(), 1U);
    EXPECT_EQ(load(), status::success);
}

TEST_F(VariantBag, AFolderThatIsNotThereCannotBeWrittenTo)
{
    EXPECT_EQ(tb2::save_variant_bag2(bag, path() + "/no/file", "bag"), status::cannotWrite);
    EXPECT_FALSE(tb2::is_success(status::cannotWrite));
}

TEST_F(VariantBag, AMissingFileIsToldApartFromAWrongOne)
{
    EXPECT_EQ(load(), status::fileNotFound);
    EXPECT_EQ(loadText(""), status::cannotRead);
    EXPECT_EQ(loadText("{\"bag\": 1}"), status::cannotRead);
    EXPECT_EQ(loadText("{\"bag\": [{\"key\": \"k\"}]}"), status::cannotRead);
    EXPECT_EQ(loadText("{\"bag\": [{\"key\": \"k\", \"s32\": \"text\"}]}"), status::cannotRead);
    EXPECT_EQ(loadText("{\"bag\": [{\"key\": \"k\", \"hex\": \"f\"}]}"), status::cannotRead);
    EXPECT_EQ(loadText("{\"bag\": [{\"key\": \"k\", \"hex\": \"zz\"}]}"), status::cannotRead);
    EXPECT_EQ(loadText("{\"bag\": [{\"key\": \"k\", \"text\": \"v\", \"s32\": 1}]}"),
              status::cannotRead);
    EXPECT_EQ(loadText("{\"bag\": [[]]}"), status::cannotRead);
    EXPECT_TRUE(bag.empty()) << "what could not be read leaves nothing";
}

TEST_F(VariantBag, BagsInBagsWithoutEndAreRefused)
{
    std::string deep = "{\"bag\": ";
    for (int i = 0; i < 100000; ++i)
        deep += "[{\"key\": \"k\", \"bag\": ";
    EXPECT_EQ(loadText(deep), status::cannotRead);
    deep = "[]";
    for (int i = 0; i < 100; ++i)
        deep = "[{\"key\": \"k\", \"bag\": " + deep + "}]";
    EXPECT_EQ(loadText("{\"bag\": " + deep + "}"), status::cannotRead);
}

TEST_F(VariantBag, APipeIsNotWaitedFor)
{
    ASSERT_EQ(::mkfifo(path().c_str(), 0600), 0);
    EXPECT_EQ(load(), status::cannotRead);
}

} // namespace
