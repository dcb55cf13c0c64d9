#include "support/fake_file_search.h"

#include <SEEK_2_13/resolution_context.h>

using samplefold_test::fakeFileSearch;

namespace samplefold_test {

FakeFileSearch& fakeFileSearch()
{
    static FakeFileSearch one;
    return one;
}

void FakeFileSearch::reset()
{
    take();
    missing.clear();
    onFindFile = nullptr;
    onFindSymbols = nullptr;
    onChecksum = nullptr;
    onArchitecture = nullptr;
    onCalculate = nullptr;
    expectedSymbolName.clear();
    addSearchDirResult = true;
}

namespace {

using namespace SEEK_2_13;

class ValidFile : public IValidFile {
public:
    explicit ValidFile(std::string path) : m_path(std::move(path)) {}
    const char* getPath() const noexcept override { return m_path.c_str(); }

private:
    std::string m_path;
};

ObjectPtr<IValidFile> fileAt(const std::string& path)
{
    return path.empty() ? ObjectPtr<IValidFile>() : makeFake<ValidFile>("file", path);
}

class Search : public IFileSearch {
public:
    ~Search() override { fakeFileSearch().note("search released"); }
    ObjectPtr<IValidFile> findFile(const char* name, IFileValidator* validator,
                                   std::uint32_t reserved, std::uint32_t flags) override
    {
        fakeFileSearch().note("findFile " + std::string(name) +
                              (validator != nullptr ? " validated " : " any ") +
                              std::to_string(reserved) + " " + std::to_string(flags));
        const auto& find = fakeFileSearch().onFindFile;
        return fileAt(find ? find(name, validator, flags) : std::string());
    }
    ObjectPtr<IValidFile> findSymbolFile(const char* expectedName, const char* binaryPath,
                                         std::uint32_t zero1,
                                         const ISymbolFileValidatorCallback* validator,
                                         const char* candidatePath, std::uint32_t zero2,
                                         std::uint32_t zero3) override
    {
        fakeFileSearch().note("findSymbolFile" +
                              std::string(validator != nullptr ? " validated " : " any ") +
                              std::to_string(zero1 + zero2 + zero3));
        const auto& find = fakeFileSearch().onFindSymbols;
        return fileAt(find ? find({expectedName != nullptr ? expectedName : "null", binaryPath,
                                   candidatePath})
                           : std::string());
    }
    std::vector<attempt_t> getAttempts(const char*) const override { return {}; }
    std::vector<attempt_t> getSymbolAttempts(const char*) const override { return {}; }
};

class Dirs : public IEditableSearchDirContainer {
public:
    std::vector<search_dir_t> getSearchDirs(file_kind_t) const override { return {}; }
    bool addSearchDir(file_kind_t kind, const char* path, bool below, bool noOrder,
                      std::uint32_t order) override
    {
        fakeFileSearch().note("addSearchDir " + std::to_string(kind) + " " + path +
                              (below ? " below" : "") + (noOrder ? " noOrder " : " ") +
                              std::to_string(order));
        return fakeFileSearch().addSearchDirResult;
    }
};

class Environment : public IEditableSearchEnv {
public:
    ObjectPtr<ISearchDirContainer> getSearchDirs() const override { return m_dirs; }
    void setSearchDirs(ObjectPtr<ISearchDirContainer> dirs) override { m_dirs = std::move(dirs); }

private:
    ObjectPtr<ISearchDirContainer> m_dirs;
};

class Context : public IResolutionContext {
public:
    explicit Context(std::string directory) : m_directory(std::move(directory)) {}
    ~Context() override { fakeFileSearch().note("context released"); }
    const char* getDirectory() const noexcept override { return m_directory.c_str(); }
    context_data_t getData() const override { return {}; }
    bool record(context_data_t, std::string*) override { return false; }

private:
    std::string m_directory;
};

std::string directoryOf(const ObjectPtr<IResolutionContext>& context)
{
    return context != nullptr ? context->getDirectory() : "null";
}

class ContextMgr : public IResolutionContextMgr {
public:
    ~ContextMgr() override { fakeFileSearch().note("contextMgr released"); }
    ObjectPtr<IResolutionContext> openContext(const char* directory, std::string*) const override
    {
        fakeFileSearch().note("openContext " + std::string(directory));
        return makeFake<Context>("context", directory);
    }
    ObjectPtr<IResolutionContext> openChildContext(const char* path, bool mayBeMissing,
                                                   std::string*) const override
    {
        fakeFileSearch().note("openChildContext " + std::string(path) +
                              (mayBeMissing ? " true" : " false"));
        return makeFake<Context>("childContext", path);
    }
    bool linkContexts(const ObjectPtr<IResolutionContext>& child,
                      const ObjectPtr<IResolutionContext>& parent) const override
    {
        fakeFileSearch().note("linkContexts " + directoryOf(child) + " " + directoryOf(parent));
        return true;
    }
    bool bindSearchDirs(const ObjectPtr<IResolutionContext>& context,
                        ObjectPtr<ISearchDirContainer> dirs, const char* label) const override
    {
        fakeFileSearch().note("bindSearchDirs " + directoryOf(context) +
                              (dirs != nullptr ? " dirs " : " null ") + label);
        return true;
    }
    ObjectPtr<IFileSearch>
    createFileSearch(const ObjectPtr<IResolutionContext>& context, const char* clientId,
                     const ObjectPtr<IEnvironmentInfo>& environment) const override
    {
        fakeFileSearch().note("createFileSearch " + directoryOf(context) + " " + clientId +
                              (environment != nullptr ? " environment" : " null"));
        return makeFake<Search>("search");
    }
};

} // namespace
} // namespace samplefold_test

namespace SEEK_2_13 {

using samplefold_test::makeFake;

ObjectPtr<IEditableSearchDirContainer> IEditableSearchDirContainer::create()
{
    return makeFake<samplefold_test::Dirs>("dirs");
}

ObjectPtr<IEditableSearchEnv> IEditableSearchEnv::create()
{
    return makeFake<samplefold_test::Environment>("environment");
}

ObjectPtr<IFileSearch> IFileSearch::create(ObjectPtr<ISearchEnv> env)
{
    fakeFileSearch().note(env->getSearchDirs() != nullptr ? "search in dirs" : "search in nothing");
    return makeFake<samplefold_test::Search>("search");
}

ObjectPtr<IResolutionContextMgr> IResolutionContextMgr::create()
{
    return makeFake<samplefold_test::ContextMgr>("contextMgr");
}

} // namespace SEEK_2_13
