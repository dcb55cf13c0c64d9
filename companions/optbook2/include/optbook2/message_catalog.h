#pragma once

#include <optbook2/export.h>

#include <toolbelt2/object.h>
#include <toolbelt2/sptr.h>

#include <string>
#include <string_view>
#include <vector>

namespace optbook2 {

/// Texts for the user by their ids. Immutable; any thread.
class OPTBOOK2_API IMessageCatalog : public tb2::object_interface_t {
public:
    /// The text behind `id`, as "%CannotLocateBinaryFile", with the arguments in its places "%1" to
    /// "%9"; a place without an argument stays. Where the catalogue has no such id, the id itself.
    virtual std::string getMessage(std::string_view id,
                                   const std::vector<std::string>& arguments = {}) const = 0;
};

/// The catalogue of that name, the same object for everybody; never null. Its texts are read by the
/// first call, from the first of these files that can be read:
///
///   $SAMPLEFOLD_MESSAGE_DIR/NAME.messages
///   <folder of the running program>/../share/samplefold/messages/NAME.messages
///   <folder of the running program>/messages/NAME.messages
///
/// A file is a JSON object of texts by id, a regular file of up to 1 MiB. Ids that it lacks, and
/// all of them where no file can be read, have the texts that are compiled in for the catalogue
/// "samplefold1"; other catalogues have none. A name with a "/" has no file. Any thread, as long as
/// no other changes the environment.
OPTBOOK2_API tb2::sptr_t<IMessageCatalog> getMessageCatalog(const char* name);

} // namespace optbook2
