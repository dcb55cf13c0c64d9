#include "hwsamp/event_list.h"

#include "hwsamp/text_file.h"

#include <algorithm>
#include <iterator>

namespace samplefold::hwsamp {
namespace {

/// One pass over the letters of a list.
class EventListReader {
public:
    void take(char letter)
    {
        // One in the event file would end its line, or what a terminal shows of it.
        if (isControl(letter) && letter != '\t' && letter != '\r')
            throw ToolError("a control character stands in an event");
        if (letter == '/') m_betweenSlashes = !m_betweenSlashes;
        if (m_betweenSlashes) {
            m_word += letter;
        } else if (letter == ',') {
            endWord();
        } else if (letter == '{') {
            openSet();
        } else if (letter == '}') {
            closeSet();
        } else {
            m_word += letter;
        }
    }

    std::vector<EventSet> finish()
    {
        if (m_betweenSlashes) throw ToolError("a slash stands alone");
        if (m_inSet) throw ToolError("a brace is not closed");
        endWord();
        return std::move(m_sets);
    }

private:
    void openSet()
    {
        if (m_inSet || m_behindSet || !trimmed(m_word).empty())
            throw ToolError("an opening brace stands within an event or a set");
        m_inSet = true;
        m_set.clear();
    }

    void closeSet()
    {
        if (!m_inSet) throw ToolError("a closing brace has no opening one");
        endWord();
        m_inSet = false;
        m_behindSet = true;
    }

    void endWord()
    {
        const std::string word(trimmed(m_word));
        m_word.clear();
        if (m_behindSet) {
            for (std::string& event : m_set)
                event += word;
            if (!m_set.empty()) m_sets.push_back(m_set);
            m_behindSet = false;
        } else if (!word.empty()) {
            if (m_inSet) {
                m_set.push_back(word);
            } else {
                m_sets.push_back({word});
            }
        }
    }

    std::vector<EventSet> m_sets;
    EventSet m_set;
    std::string m_word;
    bool m_betweenSlashes = false;
    bool m_inSet = false;
    bool m_behindSet = false; ///< up to the comma behind a closing brace
};

} // namespace

std::vector<EventSet> parseEvents(std::string_view text)
{
    EventListReader reader;
    for (const char letter : text)
        reader.take(letter);
    return reader.finish();
}

std::vector<EventSet> readEventFile(const std::string& path)
{
    const auto content = readTextFile(path);
    if (!content) throw ToolError(path + ": there is no such file");
    std::vector<EventSet> all;
    for (const auto& [line, number] : linesOf(*content)) {
        try {
            std::ranges::move(parseEvents(line), std::back_inserter(all));
        } catch (const ToolError& error) {
            throw ToolError(path + ":" + std::to_string(number) + ": " + error.what());
        }
    }
    return all;
}

} // namespace samplefold::hwsamp
