#include "driver/session/scratch_result.h"

#include "names/code_names.h"
#include "session/row_writer.h"

#include <algorithm>
#include <string>
#include <vector>

namespace samplefold::names {
namespace {

using lines_t = std::vector<std::string>;
using rowvault1::Index;
using session::RowWriter;
using tb2::variant_t;

const std::string g_binaries = std::string(SF_TEST_DATA_DIR) + "/perf/binaries/";

class CodeNamesTest : public session::testing::ScratchResultTest {
protected:
    /// A module with places at every `step` bytes of its code.
    void addModule(session::ModuleFiles& files, const std::string& path, std::uint64_t first,
                   std::uint64_t last, std::uint64_t step)
    {
        const Index module = files.add(path, "");
        RowWriter segments(db(), "dd_module_segment");
        segments.clear();
        segments.set("module", variant_t(module.value())).set("offset", variant_t(std::int64_t{0}));
        const Index segment = segments.commit();
        RowWriter places(db(), "dd_code_location");
        for (std::uint64_t rva = first; rva < last; rva += step) {
            places.clear();
            places.set("mod_seg", variant_t(segment.value())).set("rva", variant_t(rva));
            places.commit();
        }
    }
    void nameAll(session::ModuleFiles& files, const NameOptions& options = {})
    {
        nameCode(result(), files, options, [](std::int32_t, std::uint64_t) { return true; }, {});
        files.store();
    }
};

TEST_F(CodeNamesTest, ModulesThatAreNamedTogetherHaveTheirOwnNames)
{
    session::ModuleFiles files(db(), folder(), {});
    files.expect({}, {});
    addModule(files, g_binaries + "deeptree", 0x1160, 0x13d0, 4);
    addModule(files, g_binaries + "forktree", 0x11f0, 0x14c0, 4);
    addModule(files, g_binaries + "libsfleaf.so", 0x1000, 0x1200, 4);
    nameAll(files);
    const lines_t names = ask("SELECT DISTINCT module || ' ' || function FROM code "
                              "WHERE function IS NOT NULL ORDER BY 1");
    EXPECT_GT(names.size(), 10U);
    for (const char* name : {"deeptree spin", "libsfleaf.so sfleaf_spin", "forktree main"})
        EXPECT_NE(std::ranges::find(names, name), names.end()) << name;
    EXPECT_EQ(ask("SELECT count(*) FROM code WHERE function IS NULL AND missing IS NULL"),
              lines_t{"0"})
        << "what has no name says why";
}

TEST_F(CodeNamesTest, AModuleWithoutAFileSaysSoOnce)
{
    session::ModuleFiles files(db(), folder(), {});
    files.expect({}, {});
    addModule(files, "/nowhere/program", 0x1000, 0x1010, 4);
    addModule(files, g_binaries + "deeptree", 0x1160, 0x1200, 4);
    nameAll(files);
    EXPECT_EQ(ask("SELECT missing FROM modules WHERE name = 'program'"),
              lines_t{"the module's file was not found"});
    EXPECT_EQ(ask("SELECT count(*) FROM dd_code_name AS n JOIN dd_module_segment AS s "
                  "ON s.id = n.mod_seg WHERE s.module = 1"),
              lines_t{"0"});
}

} // namespace
} // namespace samplefold::names
