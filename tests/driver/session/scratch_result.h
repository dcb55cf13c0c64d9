// A result in a folder of its own.
#pragma once

#include "session/module_catalog.h"

#include <rowvault1/result.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace samplefold::session::testing {

/// Writes the rows of what a catalogue was told, the way a load does.
void storeModules(rowvault1::IResult& result, ModuleCatalog& modules);

class ScratchResultTest : public ::testing::Test {
protected:
    ScratchResultTest();
    ~ScratchResultTest() override;

    rowvault1::IResult& result() { return *m_result; }
    const std::string& folder() const { return m_folder; }
    tb2::sptr_t<rowvault1::IDatabase> db() { return m_result->database(); }
    /// Ends the load and opens the result again to add to it.
    void reopen();
    /// Rows of a statement, values as texts joined by '|', null as "-".
    std::vector<std::string> ask(const std::string& sql);

private:
    std::string m_folder;
    tb2::sptr_t<rowvault1::IResult> m_result;
};

} // namespace samplefold::session::testing
