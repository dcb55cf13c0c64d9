#include "loader_fixture.h"

using jitlens_3_13::IModule;
using jitlens_3_13::region_t;
using jitlens_3_13::source_line_t;
using jitlens_3_13::source_t;
using jitlens_3_13::symbol_t;
namespace code = jitlens_3_13::code;

LoaderTest::LoaderTest() : loader(jitlens_3_13::IJitLoader::create({}))
{
    loader->attach(nullptr, &status);
}

std::string LoaderTest::add(const std::string& name, std::string_view content)
{
    const std::string path = write(name, content);
    loader->addFile(pid, path);
    return path;
}

std::string LoaderTest::write(const std::string& name, std::string_view content) const
{
    return folder.addFile(name, content);
}

std::uint32_t LoaderTest::resolveCode(std::uint64_t time, std::uint64_t ip)
{
    std::uint64_t rva = 0;
    boost::intrusive_ptr<IModule> module;
    return loader->resolve(time, ip, pid, status, rva, module);
}

std::string LoaderTest::at(std::uint64_t time, std::uint64_t ip)
{
    std::uint64_t rva = 0;
    boost::intrusive_ptr<IModule> module;
    const std::uint32_t answer = loader->resolve(time, ip, pid, status, rva, module);
    if (answer == code::noCode) return nothing;
    if (answer != code::found) return "code " + std::to_string(answer);
    symbol_t symbol;
    if (!module || !loader->symbols()->findSymbol(*module, rva, symbol)) return "no symbol";
    return std::string(symbol.name) + "+" + std::to_string(rva - symbol.rva);
}

std::uint64_t LoaderTest::rvaAt(std::uint64_t time, std::uint64_t ip)
{
    std::uint64_t rva = 0;
    boost::intrusive_ptr<IModule> module;
    EXPECT_EQ(loader->resolve(time, ip, pid, status, rva, module), code::found);
    return rva;
}

boost::intrusive_ptr<IModule> LoaderTest::moduleAt(std::uint64_t time, std::uint64_t ip)
{
    std::uint64_t rva = 0;
    boost::intrusive_ptr<IModule> module;
    loader->resolve(time, ip, pid, status, rva, module);
    return module;
}

std::string LoaderTest::lineAt(std::uint64_t time, std::uint64_t ip)
{
    std::uint64_t rva = 0;
    boost::intrusive_ptr<IModule> module;
    if (loader->resolve(time, ip, pid, status, rva, module) != code::found) return "no code";
    source_line_t line;
    if (!loader->symbols()->findLine(*module, rva, line)) return nothing;
    return std::string(line.file) + ":" + std::to_string(line.line);
}

std::optional<region_t> LoaderTest::region(std::uint64_t time, std::uint64_t first,
                                           std::uint64_t last)
{
    region_t found;
    if (loader->findRegion(time, first, last, pid, status, found) != code::found)
        return std::nullopt;
    return found;
}

source_t LoaderTest::source()
{
    const std::vector<source_t> sources = loader->sources(pid);
    EXPECT_EQ(sources.size(), 1u);
    return sources.empty() ? source_t{} : sources.front();
}
