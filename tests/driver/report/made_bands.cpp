#include "made_bands.h"

namespace samplefold::report::testing {

using rowvault1::Index;
using rowvault1::utils::indexToVariant;

void MadeBandsTest::band(Index thread, std::uint64_t start, std::uint64_t end,
                         std::string_view className)
{
    const Index classKey = add("dd_hw_feedback_coretier_class", {{"name", text(className)}});
    const Index feedback = add("dd_hw_feedback", {{"class", indexToVariant(classKey)}});
    const auto table =
        result().database()->createBandTable("hw_feedback_data", "dd_hw_feedback", "");
    tb2::sptr_t<rowvault1::IMetaData> meta;
    ASSERT_TRUE(table->add({thread, "dd_hw_feedback"}, {start, end, 1, feedback}, meta, nullptr));
    result().drain();
}

} // namespace samplefold::report::testing
