#include <optbook2/message_catalog.h>

#include "builtin_messages.h"
#include "catalog_file.h"
#include "program_folder.h"

#include <toolbelt2/argument_resolver.h>
#include <toolbelt2/environment.h>

#include <map>
#include <mutex>
#include <utility>

namespace optbook2 {
namespace {

class MessageCatalog : public IMessageCatalog {
public:
    explicit MessageCatalog(texts_t texts) : m_texts(std::move(texts)) {}

    std::string getMessage(std::string_view id,
                           const std::vector<std::string>& arguments) const override
    {
        const auto found = m_texts.find(id);
        if (found == m_texts.end()) return std::string(id);
        tb2::internal::argument_resolver_t text(found->second);
        for (const std::string& argument : arguments)
            text.arg(argument);
        return text.resolve();
    }

private:
    texts_t m_texts;
};

/// Folders that may hold catalogue files, in the order of their rank.
std::vector<std::string> messageFolders()
{
    std::vector<std::string> folders;
    const std::string chosen = tb2::get_environ_value("SAMPLEFOLD_MESSAGE_DIR");
    if (!chosen.empty()) folders.push_back(chosen);
    const std::string program = programFolder();
    if (!program.empty()) {
        folders.push_back(program + "/../share/samplefold/messages");
        folders.push_back(program + "/messages");
    }
    return folders;
}

texts_t textsFromFile(const std::string& name)
{
    if (name.find('/') != std::string::npos) return {};
    for (const std::string& folder : messageFolders()) {
        std::optional<texts_t> texts = readCatalog(folder + "/" + name + ".messages");
        if (texts) return std::move(*texts);
    }
    return {};
}

texts_t builtinTexts(const std::string& name)
{
    if (name != "samplefold1") return {};
    return parseCatalog(g_samplefold1Messages).value_or(texts_t());
}

texts_t textsOf(const std::string& name)
{
    texts_t texts = textsFromFile(name);
    texts.merge(builtinTexts(name)); // what the file has stays
    return texts;
}

} // namespace

tb2::sptr_t<IMessageCatalog> getMessageCatalog(const char* name)
{
    static std::mutex lock;
    static std::map<std::string, tb2::sptr_t<MessageCatalog>, std::less<>> catalogs;
    const std::lock_guard hold(lock);
    tb2::sptr_t<MessageCatalog>& catalog = catalogs[name];
    if (!catalog) catalog = tb2::make_counted<MessageCatalog>(textsOf(name));
    return catalog;
}

} // namespace optbook2
