#include "elf_identity.h"
#include "file_search_impl.h"
#include "machine_places.h"
#include "module_path.h"
#include "search_steps.h"

#include <algorithm>
#include <utility>

namespace SEEK_2_13 {
namespace {

class ValidFile : public IValidFile {
public:
    explicit ValidFile(std::string path) : m_path(std::move(path)) {}
    const char* getPath() const noexcept override { return m_path.c_str(); }

private:
    std::string m_path;
};

class FileSearch : public IFileSearch {
public:
    FileSearch(std::unique_ptr<ISearchSettings> settings, std::shared_ptr<ClientRecords> records)
        : m_settings(std::move(settings)), m_records(std::move(records))
    {
    }

    ObjectPtr<IValidFile> findFile(const char* name, IFileValidator* validator,
                                   std::uint32_t reserved, std::uint32_t flags) override;
    ObjectPtr<IValidFile> findSymbolFile(const char* expectedName, const char* binaryPath,
                                         std::uint32_t zero1,
                                         const ISymbolFileValidatorCallback* validator,
                                         const char* candidatePath, std::uint32_t zero2,
                                         std::uint32_t zero3) override;
    std::vector<attempt_t> getAttempts(const char* name) const override;
    std::vector<attempt_t> getSymbolAttempts(const char* binaryPath) const override;

private:
    std::unique_ptr<ISearchSettings> m_settings;
    std::shared_ptr<ClientRecords> m_records;
    FileTrees m_trees;
};

ObjectPtr<IValidFile> takenBy(const Trial& trial)
{
    if (trial.taken().empty()) return {};
    return new tb2::ref_counted_t<ValidFile>(trial.taken());
}

std::string textOf(const char* text)
{
    return text != nullptr ? text : "";
}

void searchFile(const std::string& name, SearchSteps& steps, Trial& trial)
{
    if (steps.hasFixedPlaces()) {
        if (steps.trySubstitutions(name)) return;
        if (name.starts_with('/') && trial.takes(place_t::path, name)) return;
        if (steps.tryBuildId(trial.expectedId(), name)) return;
    }
    if (!steps.tryAddedDirectories({name})) steps.tryArchive({name});
}

bool tryKernelCore(const machine_places_t& machine, Trial& trial)
{
    if (machine.kernelRelease != runningRelease()) {
        trial.note(place_t::kernelCore, machine.kernelCore, refusal_t::otherKernel,
                   "the kernel that runs is " + runningRelease() + " and not " +
                       machine.kernelRelease);
        return false;
    }
    return trial.takes(place_t::kernelCore, machine.kernelCore,
                       readKernelBuildId(machine.kernelNotes));
}

void searchKernel(const std::string& name, SearchSteps& steps, Trial& trial)
{
    std::vector<std::string> names{"vmlinux", name};
    if (steps.hasFixedPlaces()) {
        const machine_places_t& machine = steps.fixed().machine;
        if (tryKernelCore(machine, trial)) return;
        if (steps.tryBuildId(trial.expectedId(), name)) return;
        // The release may come from a recording; it names a file and no path.
        if (machine.kernelRelease.find('/') == std::string::npos) {
            names.insert(names.begin(), "vmlinux-" + machine.kernelRelease);
            const std::string inRoot = joined(machine.debugRoot, "boot");
            if (trial.takes(place_t::bootFolder, joined(machine.bootFolder, names.front())) ||
                trial.takes(place_t::debugRoot, joined(inRoot, names.front())))
                return;
        }
    }
    if (!steps.tryArchive(names)) steps.tryAddedDirectories(names);
}

ObjectPtr<IValidFile> FileSearch::findFile(const char* name, IFileValidator* validator,
                                           std::uint32_t, std::uint32_t flags)
{
    const std::string path = textOf(name);
    if (path.empty()) return {};
    Trial::Validate validate;
    if (validator != nullptr)
        validate = [validator](const char* candidate, IErrorInfoContainer& errors) {
            return validator->validate(candidate, errors);
        };
    Trial trial(m_settings->expectedBuildId(path), std::move(validate));
    SearchSteps steps(*m_settings, binaryFileKind, m_trees, trial);
    if ((flags & search_flag::kernelImage) != 0)
        searchKernel(path, steps, trial);
    else
        searchFile(path, steps, trial);
    m_records->storeFile(path, trial.releaseAttempts());
    return takenBy(trial);
}

/// The paths of a binary's symbol file behind a folder: in the binary's folder, by its names.
std::vector<std::string> symbolPaths(const std::string& binaryPath, const std::string& linkName)
{
    std::vector<std::string> paths{binaryPath + ".debug", binaryPath};
    if (!linkName.empty()) {
        const std::string linked = joined(folderOf(binaryPath), linkName);
        std::erase(paths, linked);
        paths.insert(paths.begin(), linked);
    }
    return paths;
}

bool tryDebugFolders(const std::string& binaryPath, const std::string& linkName,
                     const fixed_places_t& fixed, Trial& trial)
{
    const std::string& root = fixed.machine.debugRoot;
    const std::string folder(folderOf(binaryPath));
    const std::string below = normalized(binaryPath);
    if (!linkName.empty() &&
        (trial.takes(place_t::besideBinary, joined(joined(folder, ".debug"), linkName)) ||
         trial.takes(place_t::debugRoot, joined(joined(root, folderOf(below)), linkName))))
        return true;
    return trial.takes(place_t::debugRoot, joined(root, below + ".debug"));
}

ObjectPtr<IValidFile> FileSearch::findSymbolFile(const char* expectedName, const char* binaryPath,
                                                 std::uint32_t,
                                                 const ISymbolFileValidatorCallback* validator,
                                                 const char* candidatePath, std::uint32_t,
                                                 std::uint32_t)
{
    const std::string binary = textOf(binaryPath);
    if (binary.empty()) return {};
    ObjectPtr<ISymbolFileValidatorCallback> made;
    if (validator == nullptr) {
        made = ISymbolFileValidatorCallback::create(binaryPath);
        if (!made) return {};
        validator = made.get();
    }
    const std::string candidate = textOf(candidatePath);
    const std::string linkName(leafOf(textOf(expectedName)));
    // The validator compares build ids itself, and says why where there is none to compare.
    Trial trial({}, [validator](const char* path, IErrorInfoContainer& errors) {
        return validator->validate(path, errors);
    });
    SearchSteps steps(*m_settings, symbolFileKind, m_trees, trial);
    const auto search = [&] {
        if (!candidate.empty() &&
            (steps.trySubstitutions(candidate) || trial.takes(place_t::besideBinary, candidate)))
            return;
        const std::vector<std::string> paths = symbolPaths(binary, linkName);
        if (steps.tryBuildId(validator->getBuildId(), binary) || steps.tryAddedDirectories(paths) ||
            steps.tryArchive(paths))
            return;
        if (steps.hasFixedPlaces()) tryDebugFolders(binary, linkName, steps.fixed(), trial);
    };
    search();
    m_records->storeSymbols(binary, trial.releaseAttempts());
    return takenBy(trial);
}

std::vector<attempt_t> FileSearch::getAttempts(const char* name) const
{
    return m_records->ofFile(textOf(name));
}

std::vector<attempt_t> FileSearch::getSymbolAttempts(const char* binaryPath) const
{
    return m_records->ofSymbols(textOf(binaryPath));
}

} // namespace

ObjectPtr<IFileSearch> makeFileSearch(std::unique_ptr<ISearchSettings> settings,
                                      std::shared_ptr<ClientRecords> records)
{
    return new tb2::ref_counted_t<FileSearch>(std::move(settings), std::move(records));
}

} // namespace SEEK_2_13
