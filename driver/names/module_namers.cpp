#include "names/module_namers.h"

#include "names/image_namer.h"
#include "session/module_names.h"

#include <string>
#include <utility>

namespace samplefold::names {
namespace {

using rowvault1::Index;
using session::ModuleFile;

/// Of a module without symbols: tells why.
class NoNamer final : public PlaceNamer {
public:
    explicit NoNamer(std::string fault) : m_fault(std::move(fault)) {}

    PlaceName name(const Place&, FoundNames&) override { return {}; }
    const std::string& fault() const override { return m_fault; }

private:
    std::string m_fault;
};

std::unique_ptr<PlaceNamer> noNamer(const char* fault)
{
    return std::make_unique<NoNamer>(fault);
}

std::string referenceSymbol(const KernelOptions& options)
{
    return options.reference.empty() ? "_text" : options.reference;
}

/// What the kernel calls its pieces, apart from itself: modules, and code that it generated.
bool isOfKernel(const std::string& path)
{
    return session::isKernelModuleFile(path) ||
           (path.starts_with('[') && path.ends_with(']') && !session::isImage(path) &&
            path != "[heap]" && !path.starts_with("[stack") && !path.starts_with("[anon") &&
            path != "[vvar]" && path != "[vvar_vclock]");
}

} // namespace

ModuleNamers::ModuleNamers(session::ModuleFiles& files, KernelOptions kernel)
    : m_files(files), m_kernel(std::move(kernel))
{
}

ModuleNamers::~ModuleNamers() = default;

PlaceNamer& ModuleNamers::of(std::int32_t module)
{
    std::unique_ptr<PlaceNamer>& namer = m_namers.at(module);
    if (namer == nullptr) namer = open(Index(module));
    return *namer;
}

std::unique_ptr<PlaceNamer> ModuleNamers::open(Index row)
{
    const ModuleFile& module = m_files.fileOf(row);
    if (module.path == session::kernelName) return openKernel(row, module);
    if (module.path == session::vsyscallName) return std::make_unique<VsyscallNamer>();
    if (module.path == session::vdsoName) return openVdso(module);
    if (module.path.starts_with("[guest.")) return noNamer("code of a guest");
    if (isOfKernel(module.path)) return openKernelModule(module);
    if (!session::isFile(module.path)) return noNamer("memory without a file");
    if (module.found.empty()) return noNamer("the module's file was not found");
    return openFile(row, module);
}

std::unique_ptr<PlaceNamer> ModuleNamers::openFile(Index row, const ModuleFile& module)
{
    auto namer = std::make_unique<ImageNamer>(ImageSource{module.found, {}, false});
    if (!namer->fault().empty() || namer->hasDebugInformation()) return namer;
    const std::string& symbols = m_files.symbolsOf(row);
    if (symbols.empty()) return namer;
    auto better = std::make_unique<ImageNamer>(ImageSource{module.found, symbols, false});
    return better->fault().empty() ? std::move(better) : std::move(namer);
}

/// The kernel gives this process the same image as the recorded ones if it is the same kernel.
std::unique_ptr<PlaceNamer> ModuleNamers::openVdso(const ModuleFile& module)
{
    if (!module.found.empty())
        return std::make_unique<ImageNamer>(ImageSource{module.found, {}, false});
    auto own = std::make_unique<ImageNamer>(ImageSource{{}, {}, true});
    const bool isSame = !own->buildId().empty() && module.buildId.starts_with(own->buildId());
    if (isSame) return own;
    return noNamer("the image of the recorded kernel was not found");
}

std::unique_ptr<PlaceNamer> ModuleNamers::openKernel(Index row, const ModuleFile& module)
{
    const KernelOptions& options = m_kernel.options();
    const std::uint64_t recorded = options.referenceAddress;
    if (!module.found.empty()) {
        auto image = std::make_unique<ImageNamer>(ImageSource{module.found, {}, false});
        std::uint64_t address = 0;
        if (image->fault().empty() && image->addressOf(referenceSymbol(options), address)) {
            image->goByAddress(recorded != 0 ? address - recorded : 0);
            return image;
        }
    }
    m_kernelRow = row;
    const Kallsyms* const table = kernelTable();
    return std::make_unique<KernelNamer>(table, module.path, kernelDelta(table));
}

/// Modules lie elsewhere after every start of the machine, and nothing tells where from where.
std::unique_ptr<PlaceNamer> ModuleNamers::openKernelModule(const ModuleFile& module)
{
    const Kallsyms* const table = kernelTable();
    const bool isOfRecordedStart = kernelDelta(table) == 0;
    return std::make_unique<KernelNamer>(isOfRecordedStart ? table : nullptr,
                                         session::moduleName(module.path), 0);
}

/// What lies between the recording's addresses and those of a table of another start.
std::uint64_t ModuleNamers::kernelDelta(const Kallsyms* table) const
{
    const std::uint64_t recorded = m_kernel.options().referenceAddress;
    const auto address =
        table != nullptr ? table->addressOf(referenceSymbol(m_kernel.options())) : std::nullopt;
    return address && recorded != 0 ? *address - recorded : 0;
}

const Kallsyms* ModuleNamers::kernelTable()
{
    const std::lock_guard hold(m_kernelLock);
    return m_kernel.find();
}

void ModuleNamers::noteKernelTable()
{
    if (m_kernelRow.exist()) m_files.setSymbols(m_kernelRow, m_kernel.path(), m_kernel.attempts());
    const std::string problem = m_kernel.problemOfGivenFile();
    if (!problem.empty()) m_files.tell(problem);
}

} // namespace samplefold::names
