#include "session/module_files.h"

#include "session/module_names.h"
#include "session/table_rows.h"

#include <SEEK_2_13/validators.h>
#include <optbook2/message_catalog.h>
#include <rowvault1/schema.h>
#include <sayer2/messenger.h>

#include <sys/utsname.h>

#include <algorithm>
#include <filesystem>
#include <stdexcept>
#include <system_error>
#include <utility>

namespace samplefold::session {
namespace {

using rowvault1::Index;
using rowvault1::utils::indexToVariant;
using samplefold_1::IModulesManager;
using SEEK_2_13::attempt_t;
using SEEK_2_13::refusal_t;
using tb2::variant_t;

/// All clients of a result's searches share it, and with it the lists of what was tried.
constexpr const char* g_clientId = "__shared_finalization_client_id__";
/// The name that searches know the kernel's image by.
constexpr const char* g_kernelImage = "kcore";

struct Machine {
    std::string_view name; ///< how the kernel's name of it begins
    std::int32_t architecture;
    std::int32_t bits;
};

constexpr Machine g_machines[] = {
    {"x86_64", SEEK_2_13::architecture::x86_64, 64},
    {"i386", SEEK_2_13::architecture::i386, 32},
    {"i486", SEEK_2_13::architecture::i386, 32},
    {"i586", SEEK_2_13::architecture::i386, 32},
    {"i686", SEEK_2_13::architecture::i386, 32},
    {"aarch64", SEEK_2_13::architecture::aarch64, 64},
    {"arm", SEEK_2_13::architecture::arm, 32},
    {"riscv64", SEEK_2_13::architecture::riscv, 64},
    {"ppc64", SEEK_2_13::architecture::ppc64, 64},
    {"s390x", SEEK_2_13::architecture::s390, 64},
};

const Machine* machineOf(std::string_view name)
{
    const auto found =
        std::find_if(std::begin(g_machines), std::end(g_machines),
                     [name](const Machine& machine) { return name.starts_with(machine.name); });
    return found != std::end(g_machines) ? found : nullptr;
}

std::string thisHost()
{
    utsname names{};
    return uname(&names) == 0 ? names.nodename : "";
}

/// What was found is written down with its path, which must hold wherever it is read.
std::string absolute(std::string folder)
{
    std::error_code error;
    const std::filesystem::path path = std::filesystem::absolute(folder, error);
    return error ? folder : path.string();
}

bool isSearchable(const ModuleFile& module)
{
    if (isFile(module.path) || module.path == kernelName) return true;
    return module.path == vdsoName && !module.buildId.empty();
}

const char* searchName(const ModuleFile& module)
{
    return module.path == kernelName ? g_kernelImage : module.path.c_str();
}

std::string foundIn(const std::vector<attempt_t>& attempts)
{
    const bool isTaken = !attempts.empty() && attempts.back().refusal == refusal_t::none;
    return isTaken ? attempts.back().path : std::string();
}

std::string describe(const std::vector<attempt_t>& attempts)
{
    std::string text;
    for (const attempt_t& attempt : attempts) {
        text += (text.empty() ? "" : ", ") + attempt.path + " (" +
                SEEK_2_13::refusalName(attempt.refusal) + ")";
    }
    return text.empty() ? "nowhere to look" : "tried " + text;
}

variant_t textOrNull(const std::string& text)
{
    return text.empty() ? variant_t() : variant_t(std::string_view(text));
}

template <class Item, class Same>
void addUnlessThere(std::vector<Item>& list, const Item& item, Same same)
{
    if (std::none_of(list.begin(), list.end(), [&](const Item& old) { return same(old, item); }))
        list.push_back(item);
}

void addDirectories(SEEK_2_13::context_data_t& data, const std::vector<std::string>& paths,
                    std::initializer_list<SEEK_2_13::file_kind_t> kinds)
{
    for (const std::string& path : paths) {
        for (const auto kind : kinds) {
            addUnlessThere(
                data.directories, SEEK_2_13::search_dir_t{kind, path, true, 0},
                [](const auto& a, const auto& b) { return a.kind == b.kind && a.path == b.path; });
        }
    }
}

/// Ids of zeros stand for files that have none.
bool isRealId(std::string_view id)
{
    return id.find_first_not_of('0') != std::string_view::npos;
}

/// Recorders fill short ids up with zeros.
std::string_view withoutPadding(std::string_view id)
{
    return id.substr(0, id.find_last_not_of('0') + 1);
}

/// The registry knows no build ids; the driver adds them to its rows.
void setBuildId(rowvault1::IDatabase& db, Index row, const std::string& buildId)
{
    const auto* const table = rowvault1::schema::findTable("dd_module_file");
    const auto record = db.getAttributeTable("dd_module_file")->getRecord(row);
    if (buildId.empty() || record == nullptr) return;
    record->setField(rowvault1::schema::findColumn(*table, "build_id")->position,
                     variant_t(std::string_view(buildId)));
    record->commit();
}

/// A finder has no end of its own, since the texts that it gave out live as long as it: it is kept
/// where it can be reached.
samplefold_1::IFileFinder* makeFinder(const std::string& folder)
{
    static auto& finders = *new std::vector<samplefold_1::IFileFinder*>; // outlives all users
    finders.push_back(samplefold_1::createFileFinder(folder.c_str()));
    return finders.back();
}

/// Turns the file that a search took, the last that it tried, into one that was refused.
void refuse(ModuleFile& module, refusal_t refusal, const char* detail)
{
    if (module.attempts.empty()) return;
    module.attempts.back().refusal = refusal;
    module.attempts.back().detail = detail;
}

struct ChecksumReader final : samplefold_1::IModuleInfoCallback {
    std::int32_t onModuleInfo(const IModulesManager::ModuleDBInfo& info) override
    {
        checksums[info.path] = info.md5sum;
        return 1;
    }
    std::map<std::string, std::string> checksums;
};

} // namespace

/// Keeps what the registry has to tell about the module in hand.
class ModuleFiles::Messages final : public sayer2::IMessenger {
public:
    void postMessage(const char* text, sayer2::severity_t) override { m_text = text; }
    std::string take() { return std::exchange(m_text, {}); }

private:
    std::string m_text;
};

ModuleFiles::ModuleFiles(const tb2::sptr_t<rowvault1::IDatabase>& db, std::string resultFolder,
                         const RecordedHost& host)
    : m_db(db), m_folder(absolute(std::move(resultFolder))),
      m_messages(std::make_unique<Messages>()), m_missingRows(db, "dd_missing_name", {"reason"})
{
    m_isOtherHost = !host.name.empty() && host.name != thisHost();
    if (const Machine* const known = machineOf(host.machine)) {
        m_architecture = known->architecture;
        m_bits = known->bits;
    }
}

ModuleFiles::~ModuleFiles() = default;

void ModuleFiles::expect(const build_ids_t& buildIds, const FileSearchOptions& options)
{
    std::string fault;
    const auto contexts = SEEK_2_13::IResolutionContextMgr::create();
    const auto context = contexts->openContext(m_folder.c_str(), &fault);
    if (context == nullptr) throw std::runtime_error(m_folder + ": " + fault);
    SEEK_2_13::context_data_t data = context->getData();
    for (const auto& [path, id] : buildIds) {
        if (!isRealId(id)) continue;
        data.buildIds[path == kernelName ? g_kernelImage : path] = id;
    }
    addDirectories(data, options.symbolDirectories,
                   {SEEK_2_13::binaryFileKind, SEEK_2_13::symbolFileKind});
    addDirectories(data, options.debugDirectories, {SEEK_2_13::symbolFileKind});
    for (const auto& rule : options.pathMaps) {
        addUnlessThere(data.substitutions, rule, [](const auto& a, const auto& b) {
            return a.from == b.from && a.to == b.to;
        });
    }
    m_expectedIds = data.buildIds;
    if (!context->record(std::move(data), &fault))
        throw std::runtime_error(m_folder + ": " + fault);

    m_search = contexts->createFileSearch(context, g_clientId, nullptr);
    m_registry = samplefold_1::createModulesManager(m_folder, true, m_messages.get(), m_db);
    m_names = samplefold_1::createModulesManager(m_folder, false, nullptr, m_db);
    m_finder = makeFinder(m_folder);
    ChecksumReader reader;
    m_registry->enumerateModules(&reader);
    m_earlierChecksums = std::move(reader.checksums);
    readEarlier();
}

void ModuleFiles::readEarlier()
{
    readTable("dd_module_search", *m_db, std::array{"module", "found", "symbols", "missing.reason"},
              [this](const auto& row) {
                  m_earlier[rowvault1::utils::variantToIndex(row[0]).value()] = {
                      std::string(row[1].as_text()), std::string(row[2].as_text()),
                      std::string(row[3].as_text())};
              });
}

Index ModuleFiles::add(const std::string& path, const std::string& buildId)
{
    IModulesManager::ModuleDBInfo info;
    info.name = moduleName(path);
    info.path = path;
    info.architecture = m_architecture;
    info.fileField10 = m_bits;
    info.attributeField2Off = !isImage(path) && path != kernelName;
    Index row;
    (isFile(path) ? m_registry : m_names)->addModule(info, row);
    setBuildId(*m_db, row, buildId);
    ModuleFile& module = m_modules[row.value()];
    module.path = path;
    module.buildId = buildId;
    module.isNew = true;
    if (!isFile(path)) return row;
    module.notFound = m_messages->take();
    module.attempts = m_search->getAttempts(path.c_str());
    take(module, foundIn(module.attempts));
    return row;
}

void ModuleFiles::know(Index row, const std::string& path, const std::string& buildId)
{
    ModuleFile& module = m_modules[row.value()];
    module.path = path;
    module.buildId = buildId;
}

const ModuleFile& ModuleFiles::fileOf(Index row)
{
    static const ModuleFile none;
    const auto entry = m_modules.find(row.value());
    if (entry == m_modules.end()) return none;
    ModuleFile& module = entry->second;
    search(module);
    module.isWanted = true;
    return module;
}

const std::string& ModuleFiles::known(Index row)
{
    static const std::string none;
    const auto entry = m_modules.find(row.value());
    if (entry == m_modules.end()) return none;
    search(entry->second);
    return entry->second.found;
}

/// Where the profile has no build id, a file that an earlier load took is known by its checksum.
void ModuleFiles::search(ModuleFile& module)
{
    if (std::exchange(module.isSearched, true) || !isSearchable(module)) return;
    const char* const name = searchName(module);
    const auto checksum = m_earlierChecksums.find(module.path);
    if (!isRealId(module.buildId) && checksum != m_earlierChecksums.end())
        m_finder->setBinaryExpectedMd5Sum(name, checksum->second.c_str());
    const std::string file = m_finder->getBinaryFilePath(name);
    module.attempts = m_search->getAttempts(name);
    take(module, file);
}

/// What a search accepts may still be another file than the one that was recorded.
void ModuleFiles::take(ModuleFile& module, const std::string& file) const
{
    module.found.clear();
    if (file.empty()) return;
    const bool isUnknown = m_isOtherHost && file == module.path && !isRealId(module.buildId);
    if (isUnknown) {
        refuse(module, refusal_t::noIdentity,
               "recorded on another host, and the recording has no build id of it");
    } else if (!isExpectedBuild(module)) {
        refuse(module, refusal_t::buildId, "the recording has several builds of this path");
    } else {
        module.found = file;
    }
}

/// A search takes nothing but what has the one build id that it expects for a path. Of several
/// builds of a path in the recording the others have no file then.
bool ModuleFiles::isExpectedBuild(const ModuleFile& module) const
{
    const auto expected = m_expectedIds.find(searchName(module));
    return !isRealId(module.buildId) || expected == m_expectedIds.end() ||
           withoutPadding(expected->second) == withoutPadding(module.buildId);
}

const std::string& ModuleFiles::symbolsOf(Index row)
{
    ModuleFile& module = m_modules.at(row.value());
    if (module.found.empty() || module.areSymbolsSearched) return module.symbols;
    module.areSymbolsSearched = true;
    const char* const path = m_finder->getSymbolFilePath(searchName(module));
    if (path != nullptr) module.symbols = path;
    module.symbolAttempts = m_search->getSymbolAttempts(module.found.c_str());
    return module.symbols;
}

void ModuleFiles::setMissing(Index row, const std::string& reason)
{
    const auto entry = m_modules.find(row.value());
    if (entry != m_modules.end()) entry->second.missing = reason;
}

void ModuleFiles::setSymbols(Index row, const std::string& path,
                             const std::vector<attempt_t>& attempts)
{
    const auto entry = m_modules.find(row.value());
    if (entry == m_modules.end()) return;
    entry->second.symbols = path;
    entry->second.symbolAttempts = attempts;
}

std::vector<std::string> ModuleFiles::messages() const
{
    std::vector<std::string> lines = m_notes;
    for (const auto& [row, module] : m_modules) {
        if (!module.isWanted || !module.found.empty() || !isFile(module.path)) continue;
        const std::string text = !module.notFound.empty()
                                     ? module.notFound
                                     : optbook2::getMessageCatalog("samplefold1")
                                           ->getMessage("%CannotLocateBinaryFile", {module.path});
        lines.push_back(text + ": " + describe(module.attempts));
    }
    return lines;
}

void ModuleFiles::store()
{
    RowWriter searches(m_db, "dd_module_search");
    for (const auto& [row, module] : m_modules) {
        if (!module.isNew && !module.isWanted && module.missing.empty()) continue;
        const auto earlier = m_earlier.find(row);
        const outcome_t outcome{module.found, module.symbols, module.missing};
        if (earlier != m_earlier.end() && earlier->second == outcome) continue;
        const Index missing =
            module.missing.empty() ? Index() : m_missingRows.findOrAdd({module.missing});
        searches.clear();
        const Index search = searches.set("module", variant_t(row))
                                 .set("found", textOrNull(module.found))
                                 .set("symbols", textOrNull(module.symbols))
                                 .set("missing", indexToVariant(missing))
                                 .commit();
        std::int32_t step = 0;
        storeAttempts(search, module.attempts, "binary", step);
        storeAttempts(search, module.symbolAttempts, "symbols", step);
    }
}

void ModuleFiles::storeAttempts(Index search, const std::vector<attempt_t>& attempts,
                                const char* purpose, std::int32_t& step)
{
    RowWriter writer(m_db, "dd_module_attempt");
    for (const attempt_t& attempt : attempts) {
        const bool isTaken = attempt.refusal == refusal_t::none;
        writer.clear();
        writer.set("search", indexToVariant(search))
            .set("step", variant_t(step++))
            .set("purpose", variant_t(purpose))
            .set("place", variant_t(SEEK_2_13::placeName(attempt.place)))
            .set("path", textOrNull(attempt.path))
            .set("refusal",
                 isTaken ? variant_t() : variant_t(SEEK_2_13::refusalName(attempt.refusal)))
            .set("detail", textOrNull(attempt.detail))
            .commit();
    }
}

} // namespace samplefold::session
